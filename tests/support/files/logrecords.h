#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QList>
#include <QString>
#include <QStringList>

/// One record of a log file: [time][level][file][line][function]message.
struct LogRecord
{
    QDateTime time; ///< local time, whole seconds
    QString level;  ///< "Debug", "Warning", "Critical" or "Fatal"; empty for a record without a level
    QString file;
    int line = 0;
    QString function;
    QString message;
};

/// The records of a log file, each of which ends in CR LF LF.
///
///     const LogRecords log(sandbox.ownLogText());
///     QVERIFY2(log.isWellFormed(), log.describe());
///     QVERIFY2(log.contains("void KxUpload::uploadList()", "is empty"), log.describe());
class LogRecords
{
public:
    explicit LogRecords(const QByteArray &bytes);

    const QList<LogRecord> &all() const { return records_; }
    QStringList messages() const;
    /// The records of one function, named by its whole signature.
    QList<LogRecord> from(const QString &function) const;
    /// The records whose message contains \a text.
    QList<LogRecord> containing(const QString &text) const;
    /// Whether a record of \a function contains \a text.
    bool contains(const char *function, const char *text) const;

    /// False when anything in the file is not a record with its line end.
    bool isWellFormed() const { return problems_.isEmpty(); }
    /// The problems and then the whole file, for the description of a failed check; valid as long as the object is.
    const char *describe() const { return description_.constData(); }

private:
    QList<LogRecord> records_;
    QStringList problems_;
    QByteArray description_;
};
