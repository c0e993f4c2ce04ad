#pragma once

#include <string>

/// Now, as "2016-05-01T13:07:09Z".
std::string utcTime();

/// Now, local, as "2016-05-01 13:07:09".
std::string localTime();

/// The time \a utc, of the form of utcTime(), in the form of localTime(); empty when it has another form.
std::string localTimeOf(const std::string &utc);
