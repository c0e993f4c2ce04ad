#pragma once

#include <string>

/// Now, local, as "2016-05-01 13:07:09".
std::string localTime();

/// Now in UTC, as "2016-05-01T13:07:09Z".
std::string utcTime();

/// Whether \a text has the form "2016-05-01T13:07:09Z" and is a second of a day that exists.
bool isUtcTime(const std::string &text);

/// The day \a days after \a day, both as "2016-05-01".
std::string dayAfter(const std::string &day, int days);
