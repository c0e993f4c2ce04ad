#pragma once

/// Makes the standard streams safe to write to whatever the parent process did with them: closed ones lead nowhere,
/// and a reader that has gone does not end the process.
///
/// Call it before the first file is opened.
void secureStandardStreams();
