#include "support/files/fileio.h"
#include "support/tool/toolrun.h"
#include "withouttimes.h"

#include <QDir>
#include <QProcessEnvironment>
#include <QTemporaryDir>
#include <QTest>

/// The log of whole processes: what reaches their standard error, and what only the first use of the object shows.
class TestLogProcess : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void saysItsPathThroughTheDefaultHandler();
    void echoesWhatItWrites();
    void echoesMessagesOfAllTypes();
    void echoesWithoutAFile();
    void staysSilentWithoutAnEcho();
    void echoesUntilTheFileIsClosedAndAfterwards();
    void dropsWarningsOfLibpng();
    void makesTheObjectForTheFirstMessage();
    void goesOnWhereNoFileCanBe();
    void writesAFatalMessageBeforeTheEnd();

private:
    ToolResult run(const QStringList &orders) const;
    QByteArray logText() const;
    QByteArray pathLine() const { return "\"" + logs_.toUtf8() + "\"\n"; }

    QScopedPointer<QTemporaryDir> root_;
    QString logs_;
};

void TestLogProcess::init()
{
    root_.reset(new QTemporaryDir);
    QVERIFY(root_->isValid());
    logs_ = root_->filePath(QStringLiteral("logs"));
}

ToolResult TestLogProcess::run(const QStringList &orders) const
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    // Qt's own handler may talk to the system's log when standard error is no terminal.
    environment.insert(QStringLiteral("QT_FORCE_STDERR_LOGGING"), QStringLiteral("1"));
    environment.insert(QStringLiteral("LANG"), QStringLiteral("C.UTF-8"));
    ToolRun process(QStringList(QStringLiteral(KX_LOG_PROBE)) + orders, root_->path(), environment,
                    root_->filePath(QStringLiteral("output")));
    return process.finish();
}

QByteArray TestLogProcess::logText() const
{
    const QDir dir(logs_);
    const QStringList names = dir.entryList({QStringLiteral("upload_*.log")});
    return names.size() == 1 ? readFile(dir.filePath(names.first())) : QByteArrayLiteral("not one log file");
}

void TestLogProcess::saysItsPathThroughTheDefaultHandler()
{
    const ToolResult result = run({QStringLiteral("echo"), QStringLiteral("install=") + logs_});
    QVERIFY2(result.isSuccess(), result.describe());
    QCOMPARE(result.standardError, pathLine());
    QCOMPARE(logText(), QByteArray(""));
    QVERIFY2(QFile::exists(QString::fromUtf8(result.standardOutput)), result.describe());
}

void TestLogProcess::echoesWhatItWrites()
{
    const ToolResult result =
        run({QStringLiteral("echo"), QStringLiteral("install=") + logs_, QStringLiteral("write=a %1 %s"),
             QStringLiteral("write="), QString::fromUtf8("write=größe 大小\r\n")});
    QVERIFY2(result.isSuccess(), result.describe());
    const QByteArray written = QByteArrayLiteral("a %1 %s\n\ngröße 大小\r\n\n");
    QCOMPARE(result.standardError, pathLine() + written);
    QCOMPARE(logText(), written);
}

void TestLogProcess::echoesMessagesOfAllTypes()
{
    const ToolResult result =
        run({QStringLiteral("echo"), QStringLiteral("install=") + logs_, QStringLiteral("debug=one %1"),
             QStringLiteral("info=two"), QStringLiteral("warning=three"), QString::fromUtf8("critical=vier, 四"),
             QStringLiteral("debug=kx_log five")});
    QVERIFY2(result.isSuccess(), result.describe());
    QCOMPARE(result.standardError, pathLine() + logText());
    QCOMPARE(withoutTimes(logText()), QByteArrayLiteral("[time][Debug][f][1][g]one %1\r\n\n"
                                                        "[time][f][1][g]two\r\n\n"
                                                        "[time][Warning][f][1][g]three\r\n\n"
                                                        "[time][Critical][f][1][g]vier, 四\r\n\n"
                                                        "[time][Debug][f][1][g]kx_client   kx_error   five\r\n\n"));
}

void TestLogProcess::echoesWithoutAFile()
{
    const ToolResult result = run({QStringLiteral("write=silent"), QStringLiteral("echo"), QStringLiteral("write=a")});
    QVERIFY2(result.isSuccess(), result.describe());
    QCOMPARE(result.standardError, QByteArrayLiteral("a\n"));
    QCOMPARE(result.standardOutput, QByteArray(""));
}

void TestLogProcess::staysSilentWithoutAnEcho()
{
    const ToolResult result = run({QStringLiteral("install=") + logs_, QStringLiteral("debug=a"),
                                   QStringLiteral("critical=b"), QStringLiteral("write=c")});
    QVERIFY2(result.isSuccess(), result.describe());
    QCOMPARE(result.standardError, pathLine());
    QCOMPARE(withoutTimes(logText()),
             QByteArrayLiteral("[time][Debug][f][1][g]a\r\n\n[time][Critical][f][1][g]b\r\n\nc\n"));
}

void TestLogProcess::echoesUntilTheFileIsClosedAndAfterwards()
{
    const ToolResult result =
        run({QStringLiteral("echo"), QStringLiteral("install=") + logs_, QStringLiteral("debug=a"),
             QStringLiteral("close"), QStringLiteral("close"), QStringLiteral("debug=b"), QStringLiteral("write=c")});
    QVERIFY2(result.isSuccess(), result.describe());
    const QByteArray before = QByteArrayLiteral("[time][Debug][f][1][g]a\r\n\n");
    QCOMPARE(withoutTimes(result.standardError), pathLine() + before + "[time][Debug][f][1][g]b\r\n\nc\n");
    QCOMPARE(withoutTimes(logText()), before);
}

void TestLogProcess::dropsWarningsOfLibpng()
{
    const ToolResult result = run({QStringLiteral("echo"), QStringLiteral("install=") + logs_,
                                   QStringLiteral("warning=libpng warning"), QStringLiteral("debug=libpng debug")});
    QVERIFY2(result.isSuccess(), result.describe());
    const QByteArray record = QByteArrayLiteral("[time][Debug][f][1][g]libpng debug\r\n\n");
    QCOMPARE(withoutTimes(result.standardError), pathLine() + record);
    QCOMPARE(withoutTimes(logText()), record);
}

void TestLogProcess::makesTheObjectForTheFirstMessage()
{
    ToolResult result = run({QStringLiteral("handler"), QStringLiteral("debug=a")});
    QVERIFY2(result.isSuccess(), result.describe());
    QCOMPARE(result.standardError, QByteArray(""));

    // It is the object that everyone gets.
    result = run({QStringLiteral("handler"), QStringLiteral("debug=a"), QStringLiteral("echo"),
                  QStringLiteral("debug=b"), QStringLiteral("install=") + logs_, QStringLiteral("debug=c")});
    QVERIFY2(result.isSuccess(), result.describe());
    QVERIFY2(withoutTimes(result.standardError).startsWith("[time][Debug][f][1][g]b\r\n\n"), result.describe());
    QCOMPARE(withoutTimes(logText()), QByteArrayLiteral("[time][Debug][f][1][g]c\r\n\n"));
}

void TestLogProcess::goesOnWhereNoFileCanBe()
{
    QVERIFY(writeFile(logs_, "x"));
    const QString path = logs_ + QStringLiteral("/below");
    const ToolResult result = run({QStringLiteral("echo"), QStringLiteral("install=") + path, QStringLiteral("debug=a"),
                                   QStringLiteral("close"), QStringLiteral("debug=b")});
    QVERIFY2(result.isSuccess(), result.describe());
    QCOMPARE(withoutTimes(result.standardError),
             "\"" + path.toUtf8() + "\"\n[time][Debug][f][1][g]a\r\n\n[time][Debug][f][1][g]b\r\n\n");
    QCOMPARE(readFile(logs_), QByteArrayLiteral("x"));
}

void TestLogProcess::writesAFatalMessageBeforeTheEnd()
{
    const ToolResult result =
        run({QStringLiteral("install=") + logs_, QStringLiteral("fatal=the end"), QStringLiteral("debug=never")});
    QVERIFY2(!result.isSuccess(), result.describe());
    QCOMPARE(withoutTimes(logText()), QByteArrayLiteral("[time][Fatal][f][1][g]the end\r\n\n"));
}

QTEST_GUILESS_MAIN(TestLogProcess)
#include "tst_logprocess.moc"
