#include "main.h"

#include "kxlog/kxlog.h"
#include "support/files/fileio.h"
#include "support/process/messagecatcher.h"
#include "support/process/ownhome.h"
#include "support/server/scriptedserver.h"
#include "support/tool/toolsetup.h"
#include "support/uploader/uploadini.h"
#include "support/wire/endpoints.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QLibraryInfo>
#include <QSocketNotifier>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <unistd.h>

/// The entry function of the tool, under the name that its source is compiled with here.
int kxMain(int argc, char *argv[]);

namespace {

/// Reads the protected fields of the one log object.
struct LogFields : KxLog
{
    static QString clientVersionOf(KxLog *log) { return log->*(&LogFields::clientVersion); }
    static QString clientNameOf(KxLog *log) { return log->*(&LogFields::clientName); }
    static bool showsLog(KxLog *log) { return log->*(&LogFields::showLog); }
    static bool reports(KxLog *log) { return log->*(&LogFields::reporting); }
};

QStringList libraryPaths;
QString directoryWhileItRuns;

constexpr int kEndOfTheLoop = 7;
bool endsTheLoop = false; ///< as soon as there is one

// The first message comes from install_log() itself, when the process has been set up and not yet been left.
void observe(QtMsgType, const QMessageLogContext &, const QString &)
{
    libraryPaths = QCoreApplication::libraryPaths();
    directoryWhileItRuns = QDir::currentPath();
    if (endsTheLoop && qApp->findChild<QTimer *>() == nullptr) {
        // Before the loop runs this has no effect.
        auto *timer = new QTimer(qApp);
        QObject::connect(timer, &QTimer::timeout, [] { QCoreApplication::exit(kEndOfTheLoop); });
        timer->start(1);
    }
}

} // namespace

class TestMain : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void appendsUtf8Text_data();
    void appendsUtf8Text();
    void sleepsAtLeastAsLongAsAsked_data();
    void sleepsAtLeastAsLongAsAsked();
    void processesEventsWhileItSleeps();
    void processesSocketsWhileItSleeps();
    void sleepsNoLongerWhileEventsNeverEnd();
    void sleepsWithoutAnApplication();
    void endsAtOnceWithNothingToDo();
    void setsTheLogUpEvenWithNothingToDo();
    void prunesOldSdkLogs();
    void keepsTheDirectoryWithoutABackslash();
    void changesToThePartBeforeTheLastBackslash();
    void putsItsPathsFirst();
    void putsThePluginsBeforePathsOfTheEnvironment();
    void returnsTheResultOfTheEventLoop();

private:
    /// Runs the entry function with the arguments, of which the first is the program. Without a configuration it
    /// returns before any uploader exists.
    int runMain(QList<QByteArray> arguments)
    {
        QVector<char *> pointers;
        for (QByteArray &argument : arguments)
            pointers += argument.data();
        int argc = pointers.size();
        pointers += nullptr;
        const QtMessageHandler before = qInstallMessageHandler(observe);
        const int status = kxMain(argc, pointers.data());
        qInstallMessageHandler(before);
        return status;
    }

    QScopedPointer<QTemporaryDir> dir;
    QString directoryBefore;
};

void TestMain::init()
{
    // Not below a name made of the program's: the tests call it by names with backslashes.
    dir.reset(new QTemporaryDir(QDir::tempPath() + QStringLiteral("/tst_main-XXXXXX")));
    QVERIFY(dir->isValid());
    useHome(dir->filePath(QStringLiteral("home")));
    directoryBefore = QDir::currentPath();
    libraryPaths.clear();
}

void TestMain::cleanup()
{
    // The log file's object is deleted from an event loop, which needs an application.
    int argc = 0;
    const QCoreApplication application(argc, nullptr);
    KxLog::instance()->closeFile();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QDir::setCurrent(directoryBefore);
    dir.reset();
}

void TestMain::appendsUtf8Text_data()
{
    QTest::addColumn<QString>("left");
    QTest::addColumn<QByteArray>("right");
    QTest::addColumn<QString>("sum");
    const QString path = QStringLiteral("/a/folder");
    QTest::newRow("path") << path << QByteArray("/config/upload.ini") << QStringLiteral("/a/folder/config/upload.ini");
    QTest::newRow("nothing behind") << path << QByteArray("") << path;
    QTest::newRow("nothing in front") << QString() << QByteArray("/x") << QStringLiteral("/x");
    QTest::newRow("non-ASCII") << QString::fromUtf8("\xC3\xA4") << QByteArray("\xC3\xB6\xE4\xB8\xAD\xF0\x9F\x98\x80")
                               << QString::fromUtf8("\xC3\xA4\xC3\xB6\xE4\xB8\xAD\xF0\x9F\x98\x80");
    QTest::newRow("up to the first NUL") << path << QByteArrayLiteral("/x\0y") << QStringLiteral("/a/folder/x");
}

void TestMain::appendsUtf8Text()
{
    QFETCH(const QString, left);
    QFETCH(const QByteArray, right);
    const QString copy = left;
    QTEST(::operator+(left, right.constData()), "sum");
    QCOMPARE(left, copy);
}

void TestMain::sleepsAtLeastAsLongAsAsked_data()
{
    QTest::addColumn<int>("ms");
    for (const int ms : {-1, 0, 1, 20, 150})
        QTest::newRow(QByteArray::number(ms).constData()) << ms;
}

void TestMain::sleepsAtLeastAsLongAsAsked()
{
    QFETCH(const int, ms);
    int argc = 0;
    const QCoreApplication application(argc, nullptr);
    QElapsedTimer timer;
    timer.start();
    const qint64 slept = mSleep(ms);
    const qint64 passed = timer.elapsed();
    QVERIFY(slept >= ms);
    QVERIFY(slept >= 0);
    QVERIFY2(slept <= passed, "says how long it was");
    QVERIFY(passed >= ms);
}

void TestMain::processesEventsWhileItSleeps()
{
    int argc = 0;
    const QCoreApplication application(argc, nullptr);
    int fired = 0;
    QTimer timer;
    connect(&timer, &QTimer::timeout, [&] { ++fired; });
    timer.start(10);
    QTimer startedByQueuedCall;
    startedByQueuedCall.setInterval(60000);
    QMetaObject::invokeMethod(&startedByQueuedCall, "start", Qt::QueuedConnection);
    mSleep(200);
    QVERIFY(startedByQueuedCall.isActive());
    QVERIFY2(fired >= 2, "goes on for the whole time");
}

void TestMain::processesSocketsWhileItSleeps()
{
    // The dispatcher on GLib looks at sockets whether it is asked to or not; the other one obeys.
    const QByteArray before = qgetenv("QT_NO_GLIB");
    qputenv("QT_NO_GLIB", "1");
    int argc = 0;
    const QCoreApplication application(argc, nullptr);
    qputenv("QT_NO_GLIB", before);
    int ends[2];
    QCOMPARE(::pipe(ends), 0);
    QCOMPARE(::write(ends[1], "x", 1), ssize_t(1));
    QSocketNotifier notifier(ends[0], QSocketNotifier::Read);
    bool notified = false;
    connect(&notifier, &QSocketNotifier::activated, &notifier, [&] {
        notified = true;
        notifier.setEnabled(false);
    });
    mSleep(20);
    QVERIFY(notified);
    notifier.setEnabled(false);
    ::close(ends[0]);
    ::close(ends[1]);
}

void TestMain::sleepsNoLongerWhileEventsNeverEnd()
{
    int argc = 0;
    const QCoreApplication application(argc, nullptr);
    QObject scope;
    int handled = 0;
    const std::function<void()> goOn = [&] {
        ++handled;
        QTimer::singleShot(0, &scope, goOn);
    };
    goOn();
    QElapsedTimer timer;
    timer.start();
    mSleep(100);
    QVERIFY2(timer.elapsed() < 5000, qPrintable(QString::number(timer.elapsed())));
    // One round of events is a thousand times as short.
    QVERIFY2(handled > 200, qPrintable(QString::number(handled)));
}

void TestMain::sleepsWithoutAnApplication()
{
    QVERIFY(mSleep(20) >= 20);
}

void TestMain::endsAtOnceWithNothingToDo()
{
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(runMain({"/nowhere/tool"}), 0);
    // An uploader would have paused for half a second before it ended the whole process.
    QVERIFY(timer.elapsed() < 500);
}

void TestMain::setsTheLogUpEvenWithNothingToDo()
{
    QCOMPARE(runMain({"/nowhere/tool"}), 0);
    KxLog *log = KxLog::instance();
    QCOMPARE(LogFields::clientVersionOf(log), QStringLiteral("1.00-11"));
    QCOMPARE(LogFields::clientNameOf(log), QStringLiteral("KxClient"));
    QVERIFY(LogFields::showsLog(log));
    QVERIFY(!LogFields::reports(log));
    QVERIFY(log->getPath().startsWith(dir->filePath(QStringLiteral("home"))));
    QVERIFY(log->getPath().endsWith(QStringLiteral("/tool/logs/upload")));
    QVERIFY(QFile::exists(log->fileName()));
    QCOMPARE(QDir(log->getPath()).entryList({QStringLiteral("upload_*.log")}).size(), 1);
}

void TestMain::prunesOldSdkLogs()
{
    QCOMPARE(runMain({"/nowhere/tool"}), 0);
    QString sdk = KxLog::instance()->getPath();
    sdk.replace(QStringLiteral("/logs/upload"), QStringLiteral("/sdk_log"));
    QVERIFY(QDir(sdk).removeRecursively());
    QVERIFY(QDir().mkpath(sdk));
    QVERIFY(writeFile(sdk + QStringLiteral("/20160501130709.log"), "old"));
    QCOMPARE(runMain({"/nowhere/tool"}), 0);
    QVERIFY(!QFile::exists(sdk + QStringLiteral("/20160501130709.log")));
}

void TestMain::keepsTheDirectoryWithoutABackslash()
{
    // The whole path of a program is no directory to change to.
    const QString program = dir->filePath(QStringLiteral("tool"));
    QVERIFY(writeFile(program, "program"));
    QCOMPARE(runMain({QFile::encodeName(program)}), 0);
    QCOMPARE(directoryWhileItRuns, directoryBefore);
    QCOMPARE(QDir::currentPath(), directoryBefore);
}

void TestMain::changesToThePartBeforeTheLastBackslash()
{
    const QString folder = dir->filePath(QStringLiteral("one\\two"));
    QVERIFY(QDir().mkpath(folder));
    QCOMPARE(runMain({QFile::encodeName(folder) + "\\tool"}), 0);
    QCOMPARE(directoryWhileItRuns, QDir(folder).canonicalPath());
}

void TestMain::putsItsPathsFirst()
{
    const QString program = dir->filePath(QStringLiteral("tool"));
    QVERIFY(writeFile(program, "program"));
    QCOMPARE(runMain({QFile::encodeName(program)}), 0);
    const QString plugins = QDir(QLibraryInfo::location(QLibraryInfo::PluginsPath)).canonicalPath();
    QVERIFY(libraryPaths.size() >= 2);
    QCOMPARE(libraryPaths.at(0), QDir(program).canonicalPath());
    QCOMPARE(libraryPaths.at(1), plugins);
    QCOMPARE(libraryPaths.count(plugins), 1);
}

void TestMain::putsThePluginsBeforePathsOfTheEnvironment()
{
    const QString program = dir->filePath(QStringLiteral("tool"));
    QVERIFY(writeFile(program, "program"));
    const QString other = QDir(dir->path()).canonicalPath();
    qputenv("QT_PLUGIN_PATH", QFile::encodeName(other));
    QCOMPARE(runMain({QFile::encodeName(program)}), 0);
    qunsetenv("QT_PLUGIN_PATH");
    const QString plugins = QDir(QLibraryInfo::location(QLibraryInfo::PluginsPath)).canonicalPath();
    QCOMPARE(libraryPaths.mid(0, 3), (QStringList{QDir(program).canonicalPath(), plugins, other}));
}

void TestMain::returnsTheResultOfTheEventLoop()
{
    const ScriptedServer server(servicePort(), {}, Reply::silence());
    QVERIFY(server.isListening());
    const auto writeList = [](const QByteArray &content) {
        // The list is beside the program, which only an application knows.
        int argc = 0;
        const QCoreApplication application(argc, nullptr);
        if (content.isEmpty())
            uploadini::remove();
        else
            uploadini::write(content);
    };
    writeList("[system]\nnickname=ann\n");
    endsTheLoop = true;
    const int status = runMain({"/nowhere/tool"});
    endsTheLoop = false;
    writeList({});
    QCOMPARE(status, kEndOfTheLoop);
}

QTEST_APPLESS_MAIN(TestMain)
#include "tst_main.moc"
