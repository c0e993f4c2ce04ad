#pragma once

#include "page/logreader.h"
#include "store/uploadindex.h"

#include <httplib.h>

#include <map>
#include <string>
#include <vector>

/// The parameters of an address by their names; none of them is empty.
using Parameters = std::map<std::string, std::string>;

/// Returns the parameters of \a request. Empty ones, which forms send too, are left out; one that is not \a known or
/// comes twice throws Refusal (400).
Parameters parametersOf(const httplib::Request &request, const std::vector<std::string> &known);

/// Returns the value of \a name; empty when it is not there.
std::string valueOf(const Parameters &parameters, const std::string &name);

/// Returns \a parameters without those that say where a page begins: from, before and after.
Parameters withoutPlace(Parameters parameters);

/// Returns the address of \a path with \a parameters.
std::string address(const std::string &path, const Parameters &parameters);

/// Returns the query that user, room, kind, since, until, text, limit, before and after are, as far as they are there.
/// Throws Refusal (400) that names a value which makes no sense.
UploadQuery uploadQuery(const Parameters &parameters, const std::vector<std::string> &kinds);

/// Likewise for from, before, level and text.
LogQuery logQuery(const Parameters &parameters);
