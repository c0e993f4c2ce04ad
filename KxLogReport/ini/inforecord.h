#pragma once

class QString;

/// Notes in "info.ini" of the application's configuration folder that the service has just accepted the information of
/// \a userId.
void recordAcceptedInfo(const QString &userId);
