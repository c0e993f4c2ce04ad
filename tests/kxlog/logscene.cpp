#include "kxlog/kxlog.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTextStream>
#include <QThread>

#include <array>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <functional>
#include <sys/resource.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

/// Plays one scene with the log of a fresh process, for tests that look at it from outside: logscene SCENE FOLDER [N].
/// The log is in FOLDER, and its name goes to standard output. The scenes are the functions below.
namespace {

constexpr int kThreads = 4;

const QMessageLogger g_logger("f", 1, "g");

/// Logs "thread THREAD record NUMBER", now and then a longer one and one beyond ASCII, \a count in all.
void logMany(int thread, int count)
{
    static const QByteArray padding(3000, '-');
    for (int number = 0; number < count; ++number) {
        if (number % 100 == 7)
            g_logger.warning("thread %d record %d %s", thread, number, padding.constData());
        else if (number % 10 == 3)
            g_logger.debug("thread %d record %d größe", thread, number);
        else
            g_logger.debug("thread %d record %d", thread, number);
    }
}

void runThreads(const std::function<void(int)> &task)
{
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread)
        threads.emplace_back(task, thread);
    for (std::thread &thread : threads)
        thread.join();
}

void install(const QString &folder)
{
    KxLog::instance()->install_log(folder);
}

/// Four threads log, N records each.
void threads(const QString &folder, int count)
{
    install(folder);
    runThreads([count](int thread) { logMany(thread, count); });
}

/// The same with the echo on.
void echoingThreads(const QString &folder, int count)
{
    KxLog::instance()->setShowLog(true);
    threads(folder, count);
}

/// Four threads ask for the object for the first time, all at once, and log.
void firstMessages(const QString &, int)
{
    qInstallMessageHandler(outputMessage);
    std::atomic<int> ready{0};
    std::array<KxLog *, kThreads> seen{};
    runThreads([&](int thread) {
        ++ready;
        while (ready < kThreads) {
        }
        seen.at(static_cast<std::size_t>(thread)) = KxLog::instance();
        logMany(thread, 1);
    });
    for (const KxLog *log : seen) {
        if (log != KxLog::instance())
            std::exit(3);
    }
}

/// Four threads log while the file is closed and opened N times; each time the process opens files of its own, whose
/// number in bytes must be nothing. They are FOLDER/own_...
void reopening(const QString &folder, int count)
{
    install(folder);
    std::atomic<bool> isOver{false};
    std::thread closer([&] {
        for (int i = 0; i < count; ++i) {
            KxLog::instance()->closeFile();
            const QByteArray name = QFile::encodeName(folder + QStringLiteral("/own_%1").arg(i));
            const int own = ::open(name.constData(), O_WRONLY | O_CREAT, 0600);
            std::this_thread::yield();
            install(folder);
            if (i % 2 == 0)
                install(folder);
            ::close(own);
        }
        isOver = true;
    });
    runThreads([&isOver](int thread) {
        while (!isOver)
            logMany(thread, 10);
    });
    closer.join();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

/// Four threads log into objects of their own, N times one after another, each destroyed with its file open.
void objects(const QString &folder, int count)
{
    runThreads([&](int thread) {
        for (int i = 0; i < count; ++i) {
            KxLog log;
            log.install_log(folder + QStringLiteral("/%1").arg(thread));
            log.write_log(QStringLiteral("object %1").arg(i));
        }
    });
}

/// A thread asks for what a setter in another one changes: echo and reporting.
void switches(const QString &folder, int count)
{
    install(folder);
    std::thread switching([count] {
        for (int i = 0; i < count; ++i) {
            KxLog::instance()->setShowLog(i % 2 == 0);
            KxLog::instance()->stopReport();
        }
        KxLog::instance()->setShowLog(false);
    });
    logMany(0, count);
    g_logger.debug("kx_log");
    switching.join();
}

/// The first message of the process is that of another thread, whose object is that of everyone then.
void firstMessage(const QString &, int)
{
    qInstallMessageHandler(outputMessage);
    std::thread([] { g_logger.debug("first"); }).join();
    if (KxLog::instance()->thread() == QThread::currentThread())
        std::exit(3);
}

/// File and echo are one file, which shows their order; a text holds a zero byte.
void echoIntoTheLog(const QString &folder, int)
{
    install(folder);
    KxLog *const log = KxLog::instance();
    const int file = ::open(QFile::encodeName(log->fileName()).constData(), O_WRONLY | O_APPEND);
    ::dup2(file, STDERR_FILENO);
    log->setShowLog(true);
    log->write_log(QString::fromLatin1("echo\0file", 9));
    g_logger.debug("%s", "next");
    outputMessage(QtDebugMsg, QMessageLogContext("f", 1, "g", "default"), QString::fromLatin1("echo\0file", 9));
}

/// Everything that has a time stamp; the folder of the SDK's logs is FOLDER/sdk.
void stamps(const QString &folder, int)
{
    const QString sdk = folder + QStringLiteral("/sdk");
    QDir().mkpath(sdk);
    KxLog::instance()->removeSdkLogs(sdk);
    install(folder);
    g_logger.debug("stamped");
}

/// Standard error keeps what it is not told to flush, and the process ends at once.
void bufferedStandardError(const QString &folder, int)
{
    install(folder);
    static std::array<char, 65536> buffer;
    std::setvbuf(stderr, buffer.data(), _IOFBF, buffer.size());
    KxLog::instance()->setShowLog(true);
    g_logger.debug("plain");
    ::_exit(0);
}

struct LogsInItsDestructor
{
    bool isSet = false;
    ~LogsInItsDestructor()
    {
        if (!isSet)
            return;
        g_logger.debug("plain");
        g_logger.debug("größe 大小");
        g_logger.warning("kx_log marked");
    }
};

// Constructed before anything of Qt's that a first use makes, so destroyed after it.
LogsInItsDestructor g_last;

/// A static object logs when all of Qt's static objects are gone.
void afterMain(const QString &folder, int)
{
    g_last.isSet = true;
    install(folder);
    g_logger.debug("main");
}

/// The same while reporting is on: nothing sends a report any more.
void reportingAfterMain(const QString &folder, int)
{
    afterMain(folder, 0);
    KxLog::instance()->startReport();
}

/// The same when the process ends by exit(), which leaves the application object, after N reports. A static object that
/// is older than these but younger than the first use of Qt logs as well.
void exitingWhileReporting(const QString &folder, int reports)
{
    reportingAfterMain(folder, 0);
    if (reports > 0)
        static const LogsInItsDestructor late{true};
    for (int i = 0; i < reports; ++i)
        g_logger.warning("kx_log sent");
    std::exit(0);
}

/// Files may grow to \a size bytes, after which the disk is as good as full.
void setDiskSize(rlim_t size)
{
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit limit{};
    ::getrlimit(RLIMIT_FSIZE, &limit);
    limit.rlim_cur = size;
    ::setrlimit(RLIMIT_FSIZE, &limit);
}

/// A record finds no space, the next one does, N bytes behind the end of the first record.
void fullDisk(const QString &folder, int space)
{
    install(folder);
    KxLog *const log = KxLog::instance();
    log->write_log(QStringLiteral("first\r\n"));
    setDiskSize(static_cast<rlim_t>(QFile(log->fileName()).size() + space));
    log->write_log(QStringLiteral("cut short\r\n"));
    log->write_log(QStringLiteral("no space\r\n"));
    setDiskSize(RLIM_INFINITY);
    log->write_log(QStringLiteral("space again\r\n"));
    log->write_log(QStringLiteral("last\r\n"));
}

/// A child goes on where a record of its parent found no space.
void forking(const QString &folder, int)
{
    install(folder);
    setDiskSize(0);
    g_logger.debug("no space");
    setDiskSize(RLIM_INFINITY);
    const pid_t child = ::fork();
    if (child == 0) {
        g_logger.debug("child");
        ::_exit(0);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    g_logger.debug("parent");
}

/// N children of a process whose threads log log as well, without asking for memory or the local time: another thread
/// may have held a lock of the system's library when they began.
void forkingBesideThreads(const QString &folder, int count)
{
    install(folder);
    std::atomic<bool> isOver{false};
    std::atomic<bool> isAllRight{true};
    std::thread parent([&] {
        const QMessageLogContext context("f", 1, "g", "default");
        const QString text = QStringLiteral("child");
        for (int i = 0; i < count; ++i) {
            // The time of this second is known then.
            g_logger.debug("parent");
            const pid_t child = ::fork();
            if (child == 0) {
                ::alarm(20);
                outputMessage(QtDebugMsg, context, text);
                ::_exit(0);
            }
            int status = -1;
            ::waitpid(child, &status, 0);
            isAllRight = isAllRight && status == 0;
        }
        isOver = true;
    });
    runThreads([&isOver](int thread) {
        while (!isOver)
            logMany(thread, 10);
    });
    parent.join();
    if (!isAllRight)
        std::exit(4);
}

/// Standard error is closed when the log is opened, and the echo is on.
void withoutStandardError(const QString &folder, int)
{
    KxLog::instance()->setShowLog(true);
    ::close(STDERR_FILENO);
    install(folder);
    g_logger.debug("once");
    KxLog::instance()->closeFile();
    install(folder);
    g_logger.debug("once more");
}

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() < 3)
        return 2;
    const QMap<QString, void (*)(const QString &, int)> scenes = {
        {QStringLiteral("threads"), threads},
        {QStringLiteral("echoingThreads"), echoingThreads},
        {QStringLiteral("firstMessages"), firstMessages},
        {QStringLiteral("reopening"), reopening},
        {QStringLiteral("objects"), objects},
        {QStringLiteral("switches"), switches},
        {QStringLiteral("firstMessage"), firstMessage},
        {QStringLiteral("echoIntoTheLog"), echoIntoTheLog},
        {QStringLiteral("stamps"), stamps},
        {QStringLiteral("bufferedStandardError"), bufferedStandardError},
        {QStringLiteral("afterMain"), afterMain},
        {QStringLiteral("reportingAfterMain"), reportingAfterMain},
        {QStringLiteral("exitingWhileReporting"), exitingWhileReporting},
        {QStringLiteral("fullDisk"), fullDisk},
        {QStringLiteral("forking"), forking},
        {QStringLiteral("forkingBesideThreads"), forkingBesideThreads},
        {QStringLiteral("withoutStandardError"), withoutStandardError},
    };
    const auto scene = scenes.value(arguments.at(1), nullptr);
    if (scene == nullptr)
        return 2;
    scene(arguments.at(2), arguments.value(3).toInt());
    QTextStream(stdout) << KxLog::instance()->fileName();
    return 0;
}
