#pragma once

#include "http/refusal.h"

#include <httplib.h>

#include <string>

/// Sets the answer \a text. \a keepsConnection false ends the connection behind it.
void setAnswer(httplib::Response &response, int status, const std::string &type, const std::string &text,
               bool keepsConnection);

/// Sets the answer to a request that is not taken, and ends the connection behind it: a client whose form is wrong may
/// have got its length wrong too, so what follows is not to be trusted.
void setRefusal(httplib::Response &response, const Refusal &refusal);
