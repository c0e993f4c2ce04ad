#include "kxlog/logfile.h"
#include "support/files/fileio.h"

#include <QTemporaryDir>
#include <QTest>

#include <memory>
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
};

namespace {

constexpr QIODevice::OpenMode kMode = QIODevice::WriteOnly | QIODevice::Append;

void append(const QFile *file, const QByteArray &record)
{
    LogFile::append(file, record.constData(), static_cast<std::size_t>(record.size()));
}

} // namespace

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

QTEST_GUILESS_MAIN(TestAppending)
#include "tst_appending.moc"
