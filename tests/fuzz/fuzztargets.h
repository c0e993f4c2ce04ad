#pragma once

#include <QByteArray>
#include <QList>

// What is fuzzed. Each function takes any bytes, feeds them to one place of the project that reads what others wrote,
// and ends the process with a message when a promise of that place does not hold. A QCoreApplication has to exist.

/// The text of "upload.ini", through everything that reads a run's configuration and forgets groups.
void fuzzUploadIni(const QByteArray &input);
/// The body of an answer, through the decisions on it.
void fuzzAnswer(const QByteArray &input);
/// A message with marked fields, through the record that is made of it.
void fuzzMarkedMessage(const QByteArray &input);
/// A file name, through both retention rules.
void fuzzRetention(const QByteArray &input);
/// A form, through the reader of the local log service.
void fuzzForm(const QByteArray &input);

/// A fuzzed function with the name of its program (behind "fuzz_"), corpus folder and dictionary.
struct FuzzTarget
{
    const char *name;
    void (*run)(const QByteArray &input);
};

QList<FuzzTarget> fuzzTargets();

/// Ends the process with \a message, unless \a holds.
void require(bool holds, const char *message);
