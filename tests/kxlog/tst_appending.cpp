#include "kxlog/logfile.h"
#include "support/files/fileio.h"

#include <QTemporaryDir>
#include <QTest>

#include <fcntl.h>
#include <functional>
#include <memory>
#include <sys/uio.h>
#include <unistd.h>
#include <vector>

/// The file of a log by itself: whom its descriptor belongs to, and what is appended when.
class TestAppending : public QObject
{
    Q_OBJECT

private slots:
    void appendsWhileItIsOpen();
    void keepsItsDescriptorFromOtherFiles();
    void keepsDescriptorsOfSeveralFilesApart();
    void isOpenedAgain();
    void holdsTheEarlierFile();
    void followsNoLink();
    void opensNoFolder();
    void endsAStumpBesideAnotherWriter();
    void endsTheStumpOfARecordThatEndsOne();
    void endsAStumpThatComesWhileOneIsEnded();
    void endsNoStumpOfAnotherFile();
    void closesForExecutedPrograms();
};

namespace {

constexpr QIODevice::OpenMode kMode = QIODevice::WriteOnly | QIODevice::Append;

void append(const QFile *file, const QByteArray &record)
{
    LogFile::append(file, record.constData(), static_cast<std::size_t>(record.size()));
}

/// Called before the next write; returns how many bytes find space.
std::function<std::size_t(std::size_t)> g_whenWriting;
/// Called after the next write.
std::function<void()> g_whenWritten;

void cutNextWrite(std::size_t space)
{
    g_whenWriting = [space](std::size_t) { return space; };
}

bool goesToExecutedPrograms(int descriptor)
{
    return (::fcntl(descriptor, F_GETFD) & FD_CLOEXEC) == 0;
}

} // namespace

// The dynamic linker takes this one for all of the process.
extern "C" ssize_t write(int descriptor, const void *bytes, std::size_t size)
{
    std::function<std::size_t(std::size_t)> whenWriting;
    whenWriting.swap(g_whenWriting);
    if (whenWriting)
        size = whenWriting(size);
    const iovec part = {const_cast<void *>(bytes), size};
    const ssize_t written = ::writev(descriptor, &part, 1);
    std::function<void()> whenWritten;
    whenWritten.swap(g_whenWritten);
    if (whenWritten)
        whenWritten();
    return written;
}

void TestAppending::appendsWhileItIsOpen()
{
    QTemporaryDir dir;
    const QString name = dir.filePath(QStringLiteral("log"));
    QVERIFY(writeFile(name, "before "));
    LogFile file(name, nullptr);
    QCOMPARE(file.fileName(), name);
    append(&file, "too early ");
    append(nullptr, "nowhere ");
    QVERIFY(file.open(kMode));
    QVERIFY(file.isOpen());
    QCOMPARE(file.fileName(), name);
    append(&file, "open ");
    QCOMPARE(readFile(name), QByteArrayLiteral("before open "));
    file.close();
    QVERIFY(!file.isOpen());
    append(&file, "too late");
    QCOMPARE(readFile(name), QByteArrayLiteral("before open "));
}

void TestAppending::keepsItsDescriptorFromOtherFiles()
{
    QTemporaryDir dir;
    LogFile log(dir.filePath(QStringLiteral("log")), nullptr);
    QVERIFY(log.open(kMode));
    const int descriptor = log.handle();
    QVERIFY(descriptor > 2);
    log.close();
    std::vector<std::unique_ptr<QFile>> others;
    for (int i = 0; i < 20; ++i) {
        others.push_back(std::make_unique<QFile>(dir.filePath(QString::number(i))));
        QVERIFY(others.back()->open(QIODevice::WriteOnly));
        QVERIFY(others.back()->handle() != descriptor);
    }
    // It does not lead to the file that was closed, either.
    QFile late;
    QVERIFY(late.open(descriptor, QIODevice::WriteOnly));
    QVERIFY(late.write("late") == 4 && late.flush());
    QCOMPARE(readFile(log.fileName()), QByteArray(""));

    LogFile next(dir.filePath(QStringLiteral("next")), nullptr);
    QVERIFY(next.open(kMode));
    QCOMPARE(next.handle(), descriptor);
    append(&next, "next");
    QCOMPARE(readFile(next.fileName()), QByteArrayLiteral("next"));
}

void TestAppending::keepsDescriptorsOfSeveralFilesApart()
{
    QTemporaryDir dir;
    LogFile first(dir.filePath(QStringLiteral("first")), nullptr);
    LogFile second(dir.filePath(QStringLiteral("second")), nullptr);
    QVERIFY(first.open(kMode) && second.open(kMode));
    QVERIFY(first.handle() != second.handle());
    append(&first, "1");
    append(&second, "2");
    first.close();
    append(&second, "2");
    QCOMPARE(readFile(first.fileName()), QByteArrayLiteral("1"));
    QCOMPARE(readFile(second.fileName()), QByteArrayLiteral("22"));
}

void TestAppending::isOpenedAgain()
{
    QTemporaryDir dir;
    LogFile file(dir.filePath(QStringLiteral("log")), nullptr);
    for (int i = 0; i < 3; ++i) {
        QVERIFY(file.open(kMode));
        append(&file, "x");
        file.close();
    }
    QCOMPARE(readFile(file.fileName()), QByteArrayLiteral("xxx"));
}

void TestAppending::holdsTheEarlierFile()
{
    QTemporaryDir dir;
    auto earlier = std::make_unique<LogFile>(dir.filePath(QStringLiteral("earlier")), nullptr);
    QVERIFY(earlier->open(kMode));
    const QFile *const held = earlier.get();
    const QString name = earlier->fileName();
    {
        const LogFile later(dir.filePath(QStringLiteral("later")), std::move(earlier));
        append(held, "held ");
    }
    append(held, "gone");
    QCOMPARE(readFile(name), QByteArrayLiteral("held "));
}

void TestAppending::followsNoLink()
{
    QTemporaryDir dir;
    const QString target = dir.filePath(QStringLiteral("target"));
    QVERIFY(writeFile(target, "x"));
    QVERIFY(QFile::link(target, dir.filePath(QStringLiteral("link"))));
    LogFile file(dir.filePath(QStringLiteral("link")), nullptr);
    QVERIFY(!file.open(kMode));
    append(&file, "y");
    QCOMPARE(readFile(target), QByteArrayLiteral("x"));
}

void TestAppending::opensNoFolder()
{
    QTemporaryDir dir;
    LogFile file(dir.path(), nullptr);
    QVERIFY(!file.open(kMode));
    QVERIFY(!file.isOpen());
}

void TestAppending::endsAStumpBesideAnotherWriter()
{
    QTemporaryDir dir;
    LogFile file(dir.filePath(QStringLiteral("log")), nullptr);
    QVERIFY(file.open(kMode));
    cutNextWrite(2);
    append(&file, "stump\r\n\n");
    // Another thread is quicker than the one that was the first to see the stump.
    g_whenWriting = [&file](std::size_t size) {
        append(&file, "quicker\r\n\n");
        return size;
    };
    append(&file, "first\r\n\n");
    append(&file, "last\r\n\n");
    QCOMPARE(readFile(file.fileName()), QByteArrayLiteral("st\r\n\nquicker\r\n\n\r\n\nfirst\r\n\nlast\r\n\n"));
}

void TestAppending::endsTheStumpOfARecordThatEndsOne()
{
    QTemporaryDir dir;
    LogFile file(dir.filePath(QStringLiteral("log")), nullptr);
    QVERIFY(file.open(kMode));
    cutNextWrite(1);
    append(&file, "one\r\n\n");
    cutNextWrite(4);
    append(&file, "two\r\n\n");
    append(&file, "three\r\n\n");
    append(&file, "four\r\n\n");
    QCOMPARE(readFile(file.fileName()), QByteArrayLiteral("o\r\n\nt\r\n\nthree\r\n\nfour\r\n\n"));
}

void TestAppending::endsAStumpThatComesWhileOneIsEnded()
{
    QTemporaryDir dir;
    LogFile file(dir.filePath(QStringLiteral("log")), nullptr);
    QVERIFY(file.open(kMode));
    cutNextWrite(2);
    append(&file, "stump\r\n\n");
    g_whenWritten = [&file] {
        cutNextWrite(4);
        append(&file, "another\r\n\n");
    };
    append(&file, "first\r\n\n");
    append(&file, "last\r\n\n");
    QCOMPARE(readFile(file.fileName()), QByteArrayLiteral("st\r\n\nfirst\r\n\n\r\n\na\r\n\nlast\r\n\n"));
}

void TestAppending::endsNoStumpOfAnotherFile()
{
    QTemporaryDir dir;
    LogFile file(dir.filePath(QStringLiteral("log")), nullptr);
    QVERIFY(file.open(kMode));
    const int descriptor = file.handle();
    cutNextWrite(2);
    append(&file, "stump\r\n\n");
    file.close();
    LogFile next(dir.filePath(QStringLiteral("next")), nullptr);
    QVERIFY(next.open(kMode));
    QCOMPARE(next.handle(), descriptor);
    append(&next, "first\r\n\n");
    QCOMPARE(readFile(next.fileName()), QByteArrayLiteral("first\r\n\n"));
}

void TestAppending::closesForExecutedPrograms()
{
    QTemporaryDir dir;
    // More than were ever open at once, so some get a descriptor that none had.
    std::vector<std::unique_ptr<LogFile>> files;
    for (int i = 0; i < 20; ++i) {
        files.push_back(std::make_unique<LogFile>(dir.filePath(QString::number(i)), nullptr));
        QVERIFY(files.back()->open(kMode));
        QVERIFY(!goesToExecutedPrograms(files.back()->handle()));
    }
    // Where the system would give it the number of a standard stream.
    const int input = ::dup(STDIN_FILENO);
    ::close(STDIN_FILENO);
    LogFile moved(dir.filePath(QStringLiteral("moved")), nullptr);
    const bool isOpen = moved.open(kMode);
    ::dup2(input, STDIN_FILENO);
    ::close(input);
    QVERIFY(isOpen);
    const int descriptor = moved.handle();
    QVERIFY(descriptor > STDERR_FILENO);
    QVERIFY(!goesToExecutedPrograms(descriptor));

    moved.close();
    QVERIFY(!goesToExecutedPrograms(descriptor));
    QVERIFY(moved.open(kMode));
    QCOMPARE(moved.handle(), descriptor);
    QVERIFY(!goesToExecutedPrograms(descriptor));
}

QTEST_GUILESS_MAIN(TestAppending)
#include "tst_appending.moc"
