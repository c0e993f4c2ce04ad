#include "support/resulttable.h"

#include <cstdio>

namespace {

QString ratioText(double ratio)
{
    return QString::number(ratio, 'f', 2) + QLatin1Char('x');
}

QString threeDigits(double value)
{
    return QString::number(value, 'f', value < 10 ? 2 : value < 100 ? 1 : 0);
}

QString line(const QStringList &cells)
{
    return QStringLiteral("| ") + cells.join(QStringLiteral(" | ")) + QStringLiteral(" |\n");
}

} // namespace

void ResultTable::add(const ResultRow &row)
{
    rows_.append({row.what, row.ours, row.peer, row.ratio, row.target, row.met});
    std::fprintf(stderr, "%s", line(rows_.last()).toUtf8().constData());
}

void ResultTable::addAtMost(double limit, const QString &what, const QString &ours, const QString &peer, double ratio)
{
    if (limit > 0)
        add({what, ours, peer, ratioText(ratio), QStringLiteral("at most %1x").arg(limit), metText(ratio <= limit)});
    else
        add({what, ours, peer, ratioText(ratio), QString(), QString()});
}

void ResultTable::addAtLeast(double limit, const QString &what, const QString &ours, const QString &peer, double ratio)
{
    add({what, ours, peer, ratioText(ratio), QStringLiteral("at least %1x").arg(limit), metText(ratio >= limit)});
}

QString ResultTable::markdown() const
{
    QVector<QStringList> lines = rows_;
    lines.prepend({QStringLiteral("what"), QStringLiteral("ours"), QStringLiteral("peer"), QStringLiteral("ratio"),
                   QStringLiteral("target"), QStringLiteral("met")});
    QVector<int> widths(lines.first().size(), 3);
    for (const QStringList &cells : qAsConst(lines)) {
        for (int i = 0; i < cells.size(); ++i)
            widths[i] = qMax(widths.at(i), int(cells.at(i).size()));
    }

    QStringList rule;
    for (const int width : qAsConst(widths))
        rule += QString(width, QLatin1Char('-'));
    lines.insert(1, rule);

    QString text;
    for (QStringList cells : qAsConst(lines)) {
        for (int i = 0; i < cells.size(); ++i)
            cells[i] = cells.at(i).leftJustified(widths.at(i));
        text += line(cells);
    }
    return text;
}

QString metText(bool met)
{
    return met ? QStringLiteral("yes") : QStringLiteral("no");
}

QString durationText(double seconds)
{
    if (seconds < 1e-3)
        return threeDigits(seconds * 1e6) + QStringLiteral(" us");
    if (seconds < 1)
        return threeDigits(seconds * 1e3) + QStringLiteral(" ms");
    return threeDigits(seconds) + QStringLiteral(" s");
}

QString memoryText(double bytes)
{
    return QString::number(bytes / (1024 * 1024), 'f', 1) + QStringLiteral(" MiB");
}
