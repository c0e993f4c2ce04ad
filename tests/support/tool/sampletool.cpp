// A program whose behaviour is given by its arguments, one after another.

#include "support/files/utf8settings.h"

#include <QCoreApplication>
#include <QFile>
#include <QSettings>
#include <QThread>

#include <cstdio>
#include <cstdlib>

namespace {

void print(FILE *stream, const QString &text)
{
    std::fputs(qPrintable(text), stream);
    std::fputc('\n', stream);
    std::fflush(stream);
}

void removeGroup(const QString &group)
{
    QSettings ini(QCoreApplication::applicationDirPath() + QStringLiteral("/config/upload.ini"), QSettings::IniFormat);
    useUtf8AsClientsDo(ini);
    ini.remove(group);
}

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = application.arguments();
    for (int i = 1; i + 1 < arguments.size(); i += 2) {
        const QString &verb = arguments.at(i);
        const QString &value = arguments.at(i + 1);
        if (verb == QLatin1String("say"))
            print(stdout, value);
        else if (verb == QLatin1String("complain"))
            print(stderr, value);
        else if (verb == QLatin1String("directory"))
            print(stdout, QCoreApplication::applicationDirPath());
        else if (verb == QLatin1String("variable"))
            print(stdout, qEnvironmentVariableIsSet(qPrintable(value)) ? QFile::decodeName(qgetenv(qPrintable(value)))
                                                                       : QStringLiteral("unset"));
        else if (verb == QLatin1String("flood"))
            print(stderr, QString(value.toInt(), QLatin1Char('x')));
        else if (verb == QLatin1String("sleep"))
            QThread::msleep(value.toULong());
        else if (verb == QLatin1String("forget"))
            removeGroup(value);
        else if (verb == QLatin1String("exit"))
            return value.toInt();
        else if (verb == QLatin1String("abort"))
            std::abort();
    }
    return 0;
}
