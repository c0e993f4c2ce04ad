#include "wire/snapshotfile.h"

#include <QTemporaryDir>
#include <QTest>

namespace {

QByteArray pattern(int size)
{
    QByteArray bytes(size, Qt::Uninitialized);
    for (int i = 0; i < size; ++i)
        bytes[i] = static_cast<char>((i * 31 + i / 256) % 251);
    return bytes;
}

} // namespace

class TestSnapshotFile : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void freezesItsSizeWhenItIsOpened();
    void showsTheCurrentSizeWhileItIsNotOpen();
    void doesNotReadWhatIsAppendedLater();
    void doesNotReadAppendedBytesInOneGreedyRead();
    void failsWhenTheFileEndsBeforeTheFrozenSize();
    void failsWhenTheFileIsCutBehindTheReadPosition();
    void readsAgainAfterAReset();
    void readsFromWhereItIsSoughtTo();
    void isAtItsEndWhenTheSnapshotIsRead();
    void refusesASecondOpenAndKeepsTheFrozenSize();
    void freezesAnewWhenItIsOpenedAgain();
    void staysClosedWhenTheFileIsMissing();
    void readsAnEmptyFile();
    void readsTheSameInChunksOfEverySize_data();
    void readsTheSameInChunksOfEverySize();

private:
    void write(const QByteArray &bytes, QIODevice::OpenMode mode = QIODevice::Truncate)
    {
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly | mode));
        QCOMPARE(file.write(bytes), qint64(bytes.size()));
    }
    void append(const QByteArray &bytes) { write(bytes, QIODevice::Append); }

    QScopedPointer<QTemporaryDir> dir;
    QString path;
};

void TestSnapshotFile::init()
{
    dir.reset(new QTemporaryDir);
    QVERIFY(dir->isValid());
    path = dir->filePath(QStringLiteral("file.log"));
}

void TestSnapshotFile::cleanup()
{
    dir.reset();
}

void TestSnapshotFile::freezesItsSizeWhenItIsOpened()
{
    write("12345");
    SnapshotFile file(path, nullptr);
    QVERIFY(file.open(QIODevice::ReadOnly));
    append("678");
    QCOMPARE(file.size(), qint64(5));
    QCOMPARE(file.bytesAvailable(), qint64(5));
    write("1");
    QCOMPARE(file.size(), qint64(5));
}

void TestSnapshotFile::showsTheCurrentSizeWhileItIsNotOpen()
{
    write("12345");
    SnapshotFile file(path, nullptr);
    QCOMPARE(file.size(), qint64(5));
    append("678");
    QCOMPARE(file.size(), qint64(8));
    QVERIFY(file.open(QIODevice::ReadOnly));
    file.close();
    append("9");
    QCOMPARE(file.size(), qint64(9));
}

void TestSnapshotFile::doesNotReadWhatIsAppendedLater()
{
    write("12345");
    SnapshotFile file(path, nullptr);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.read(3), QByteArray("123"));
    append("678");
    QCOMPARE(file.read(3), QByteArray("45"));
    char byte = 0;
    QCOMPARE(file.read(&byte, 1), qint64(0));
}

void TestSnapshotFile::doesNotReadAppendedBytesInOneGreedyRead()
{
    write("12345");
    SnapshotFile file(path, nullptr);
    QVERIFY(file.open(QIODevice::ReadOnly));
    append(pattern(100000));
    QCOMPARE(file.readAll(), QByteArray("12345"));
}

void TestSnapshotFile::failsWhenTheFileEndsBeforeTheFrozenSize()
{
    write("1234567890");
    SnapshotFile file(path, nullptr);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QVERIFY(QFile::resize(path, 4));
    char buffer[16] = {};
    QCOMPARE(file.read(buffer, 4), qint64(4));
    QVERIFY(!file.atEnd());
    QCOMPARE(file.read(buffer, sizeof(buffer)), qint64(-1));
    QCOMPARE(file.size(), qint64(10));
}

void TestSnapshotFile::failsWhenTheFileIsCutBehindTheReadPosition()
{
    write("1234567890");
    SnapshotFile file(path, nullptr);
    QVERIFY(file.open(QIODevice::ReadOnly));
    char buffer[16] = {};
    QCOMPARE(file.read(buffer, 6), qint64(6));
    QVERIFY(QFile::resize(path, 0));
    QCOMPARE(file.read(buffer, 1), qint64(-1));
}

void TestSnapshotFile::readsAgainAfterAReset()
{
    const QByteArray content = pattern(40000);
    write(content);
    SnapshotFile file(path, nullptr);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), content);
    append("later");
    QVERIFY(file.reset());
    QCOMPARE(file.pos(), qint64(0));
    QVERIFY(!file.atEnd());
    QCOMPARE(file.readAll(), content);
}

void TestSnapshotFile::readsFromWhereItIsSoughtTo()
{
    write("1234567890");
    SnapshotFile file(path, nullptr);
    QVERIFY(file.open(QIODevice::ReadOnly));
    append("more");
    QVERIFY(file.seek(7));
    QCOMPARE(file.readAll(), QByteArray("890"));
    QVERIFY(file.seek(2));
    QCOMPARE(file.read(2), QByteArray("34"));
}

void TestSnapshotFile::isAtItsEndWhenTheSnapshotIsRead()
{
    write("12345");
    SnapshotFile file(path, nullptr);
    QVERIFY(file.atEnd());
    QVERIFY(file.open(QIODevice::ReadOnly));
    QVERIFY(!file.atEnd());
    file.read(4);
    QVERIFY(!file.atEnd());
    append("678");
    file.read(1);
    QVERIFY(file.atEnd());
    file.close();
    QVERIFY(file.atEnd());
}

void TestSnapshotFile::refusesASecondOpenAndKeepsTheFrozenSize()
{
    write("12345");
    SnapshotFile file(path, nullptr);
    QVERIFY(file.open(QIODevice::ReadOnly));
    append("678");
    QTest::ignoreMessage(QtWarningMsg, qPrintable(QStringLiteral("QFile::open: File (%1) already open").arg(path)));
    QVERIFY(!file.open(QIODevice::ReadOnly));
    QCOMPARE(file.size(), qint64(5));
    QCOMPARE(file.readAll(), QByteArray("12345"));
}

void TestSnapshotFile::freezesAnewWhenItIsOpenedAgain()
{
    write("12345");
    SnapshotFile file(path, nullptr);
    QVERIFY(file.open(QIODevice::ReadOnly));
    append("678");
    file.close();
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.size(), qint64(8));
    QCOMPARE(file.readAll(), QByteArray("12345678"));
}

void TestSnapshotFile::staysClosedWhenTheFileIsMissing()
{
    SnapshotFile file(path, nullptr);
    QVERIFY(!file.open(QIODevice::ReadOnly));
    QVERIFY(!file.isOpen());
    QCOMPARE(file.size(), qint64(0));
    QVERIFY(file.atEnd());
    write("12345");
    QVERIFY2(file.open(QIODevice::ReadOnly), "a file that has come into being opens");
    QCOMPARE(file.readAll(), QByteArray("12345"));
}

void TestSnapshotFile::readsAnEmptyFile()
{
    write(QByteArray());
    SnapshotFile file(path, nullptr);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.size(), qint64(0));
    QVERIFY(file.atEnd());
    append("later");
    char byte = 0;
    QCOMPARE(file.read(&byte, 1), qint64(0));
    QCOMPARE(file.readAll(), QByteArray());
}

void TestSnapshotFile::readsTheSameInChunksOfEverySize_data()
{
    QTest::addColumn<int>("chunk");
    for (const int chunk : {1, 2, 3, 7, 511, 512, 4095, 4096, 4097, 16384, 65536, 99999, 100000, 100001, 1 << 20})
        QTest::newRow(QByteArray::number(chunk).constData()) << chunk;
}

void TestSnapshotFile::readsTheSameInChunksOfEverySize()
{
    QFETCH(const int, chunk);
    const QByteArray content = pattern(100000);
    write(content);
    SnapshotFile file(path, nullptr);
    QVERIFY(file.open(QIODevice::ReadOnly));
    append(content);

    QByteArray read;
    while (!file.atEnd()) {
        const QByteArray piece = file.read(chunk);
        QVERIFY(!piece.isEmpty());
        QVERIFY(piece.size() <= chunk);
        read += piece;
    }
    QCOMPARE(read, content);
}

QTEST_GUILESS_MAIN(TestSnapshotFile)
#include "tst_snapshotfile.moc"
