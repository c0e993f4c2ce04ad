#include "kxlog/kxlog.h"

#include <QCoreApplication>
#include <QDebug>
#include <QTextStream>

/// Does what its arguments say, one after another, with the log object of a fresh process:
/// echo, handler, close, install=PATH, write=TEXT, debug=TEXT, info=TEXT, warning=TEXT, critical=TEXT, fatal=TEXT.
/// Messages carry file "f", line 1 and function "g". At last the name of the log file goes to standard output.
namespace {

bool obey(const QString &order, const QString &value)
{
    const QMessageLogger logger("f", 1, "g");
    if (order == QLatin1String("handler"))
        qInstallMessageHandler(outputMessage);
    else if (order == QLatin1String("echo"))
        KxLog::instance()->setShowLog(true);
    else if (order == QLatin1String("close"))
        KxLog::instance()->closeFile();
    else if (order == QLatin1String("install"))
        KxLog::instance()->install_log(value);
    else if (order == QLatin1String("write"))
        KxLog::instance()->write_log(value);
    else if (order == QLatin1String("debug"))
        logger.debug("%s", qUtf8Printable(value));
    else if (order == QLatin1String("info"))
        logger.info("%s", qUtf8Printable(value));
    else if (order == QLatin1String("warning"))
        logger.warning("%s", qUtf8Printable(value));
    else if (order == QLatin1String("critical"))
        logger.critical("%s", qUtf8Printable(value));
    else if (order == QLatin1String("fatal"))
        logger.fatal("%s", qUtf8Printable(value));
    else
        return false;
    return true;
}

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication app(argc, argv);
    for (const QString &argument : QCoreApplication::arguments().mid(1)) {
        const int equals = argument.indexOf(QLatin1Char('='));
        if (!obey(argument.left(equals), equals < 0 ? QString() : argument.mid(equals + 1)))
            return 2;
    }
    QTextStream(stdout) << KxLog::instance()->fileName();
    return 0;
}
