#pragma once

#include <QString>
#include <QStringList>
#include <QVector>

/// One measured thing beside its peer, as texts. What does not apply is empty.
struct ResultRow
{
    QString what;
    QString ours;
    QString peer;
    QString ratio;
    QString target;
    QString met; ///< "yes", "no" or empty
};

/// What was measured, in the order in which it was added.
class ResultTable
{
public:
    /// Adds a row and tells standard error.
    void add(const ResultRow &row);
    /// Adds a row whose figures are compared: target is a ratio of at most \a limit, which is 0 for a row without a
    /// target.
    void addAtMost(double limit, const QString &what, const QString &ours, const QString &peer, double ratio);
    /// The same for a ratio of at least \a limit.
    void addAtLeast(double limit, const QString &what, const QString &ours, const QString &peer, double ratio);

    /// As a Markdown table with padded columns.
    QString markdown() const;

private:
    QVector<QStringList> rows_;
};

/// "yes" or "no".
QString metText(bool met);
/// Microseconds, milliseconds or seconds with three digits.
QString durationText(double seconds);
/// MiB with one digit behind the point.
QString memoryText(double bytes);
