#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QVariant>

/// The file "config/upload.ini" beside the test program, which is the one that KxUpload reads. Each test program that
/// uses it must have a folder of its own.
namespace uploadini {

QString path();
/// Replaces the file as another program would; settings objects of this process notice it in any case.
void write(const QByteArray &content);
/// Appends to the file as another program would, likewise.
void append(const QByteArray &content);
/// Sets one value, "group/key", in the form in which settings objects write it, likewise.
void set(const QString &key, const QVariant &value);
void remove();

/// Names of the groups that are on disk now, sorted.
QStringList groups();
/// All values that are on disk now by "group/key".
QVariantMap values();

} // namespace uploadini
