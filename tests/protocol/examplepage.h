#pragma once

#include <QByteArray>
#include <QList>
#include <QPair>
#include <QString>

/// A named example, without the fence around it.
using Example = QPair<QString, QByteArray>;

/// The examples of a Markdown page in their order. Each stands in a fenced block between the lines "<!-- example NAME
/// -->" and "<!-- end of example -->".
QList<Example> examplesOf(const QByteArray &page);

/// \a page with \a examples in the places of those with the same names.
QByteArray withExamples(const QByteArray &page, const QList<Example> &examples);
