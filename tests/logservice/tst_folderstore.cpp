#include "store/folderstore.h"

#include <QtTest/QtTest>

namespace {

QStringList entries(const QString &folder)
{
    auto names = QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot, QDir::Name);
    names.removeOne(QStringLiteral(".lock"));
    return names;
}

UploadRecord record()
{
    UploadRecord record;
    record.kind = "logfile";
    return record;
}

} // namespace

class TestFolderStore : public QObject
{
    Q_OBJECT

private slots:
    void showsAnUploadOnlyWhenItIsComplete();
    void removesAnAbandonedUpload();
    void removesWhatIsUnderWayWhenItCloses();
    void removesWhatAnEarlierProcessLeft();
    void countsOnBehindTheHighestNumber_data();
    void countsOnBehindTheHighestNumber();
    void storesNothingWhenTheNumbersAreUsedUp();
    void isUsedByOneAtATime();
    void refusesAFileAsFolder();
};

void TestFolderStore::showsAnUploadOnlyWhenItIsComplete()
{
    QTemporaryDir folder;
    FolderStore store(folder.path().toStdString());
    const auto upload = store.begin();
    upload->beginFile("file.bin");
    upload->write("bytes");
    upload->endFile();
    QCOMPARE(entries(folder.path()), QStringList({QStringLiteral(".incoming-1")}));
    QCOMPARE(upload->finish(record()), std::string("000001-logfile"));
    QCOMPARE(entries(folder.path()), QStringList({QStringLiteral("000001-logfile")}));
    QCOMPARE(entries(folder.filePath(QStringLiteral("000001-logfile"))),
             QStringList({QStringLiteral("file.bin"), QStringLiteral("upload.json")}));
}

void TestFolderStore::removesAnAbandonedUpload()
{
    QTemporaryDir folder;
    FolderStore store(folder.path().toStdString());
    auto upload = store.begin();
    upload->beginFile("file.bin");
    upload->write("bytes");
    upload.reset();
    QCOMPARE(entries(folder.path()), QStringList());
}

void TestFolderStore::removesWhatIsUnderWayWhenItCloses()
{
    QTemporaryDir folder;
    FolderStore store(folder.path().toStdString());
    const auto upload = store.begin();
    upload->beginFile("file.bin");
    upload->write("bytes");
    store.close();
    QCOMPARE(entries(folder.path()), QStringList());
    upload->endFile();
    QVERIFY_EXCEPTION_THROWN(upload->finish(record()), StoreError);
    QVERIFY_EXCEPTION_THROWN(store.begin(), StoreError);
    QCOMPARE(entries(folder.path()), QStringList());
}

void TestFolderStore::removesWhatAnEarlierProcessLeft()
{
    QTemporaryDir folder;
    QVERIFY(QDir(folder.path()).mkpath(QStringLiteral(".incoming-7/x")));
    QVERIFY(QDir(folder.path()).mkpath(QStringLiteral("000001-logfile")));
    QVERIFY(QDir(folder.path()).mkpath(QStringLiteral("mine")));
    const FolderStore store(folder.path().toStdString());
    QCOMPARE(entries(folder.path()), QStringList({QStringLiteral("000001-logfile"), QStringLiteral("mine")}));
}

void TestFolderStore::countsOnBehindTheHighestNumber_data()
{
    QTest::addColumn<QStringList>("existing");
    QTest::addColumn<QByteArray>("next");
    QTest::newRow("empty") << QStringList() << QByteArray("000001-logfile");
    QTest::newRow("gaps") << QStringList({QStringLiteral("000002-crash"), QStringLiteral("000009-logfile")})
                          << QByteArray("000010-logfile");
    QTest::newRow("beyond six digits") << QStringList({QStringLiteral("1234567-crash")})
                                       << QByteArray("1234568-logfile");
    QTest::newRow("last but one") << QStringList({QStringLiteral("999999999999999998-crash")})
                                  << QByteArray("999999999999999999-logfile");
    QTest::newRow("other names") << QStringList({QStringLiteral("7"), QStringLiteral("8x-crash"), QStringLiteral("-9"),
                                                 QStringLiteral("9-a-b"), QStringLiteral("99999999999999999999-crash")})
                                 << QByteArray("000001-logfile");
}

void TestFolderStore::countsOnBehindTheHighestNumber()
{
    QFETCH(QStringList, existing);
    QTemporaryDir folder;
    for (const QString &name : existing)
        QVERIFY(QDir(folder.path()).mkdir(name));
    FolderStore store(folder.path().toStdString());
    QTEST(QByteArray::fromStdString(store.begin()->finish(record())), "next");
}

/// Rather than a folder that the page would not show, nor the next process count.
void TestFolderStore::storesNothingWhenTheNumbersAreUsedUp()
{
    const QString last = QStringLiteral("999999999999999999-crash");
    QTemporaryDir folder;
    QVERIFY(QDir(folder.path()).mkdir(last));
    FolderStore store(folder.path().toStdString());
    for (int i = 0; i < 2; ++i)
        QVERIFY_EXCEPTION_THROWN(store.begin()->finish(record()), StoreError);
    QCOMPARE(entries(folder.path()), QStringList(last));
}

void TestFolderStore::isUsedByOneAtATime()
{
    QTemporaryDir folder;
    {
        const FolderStore store(folder.path().toStdString());
        QVERIFY_EXCEPTION_THROWN(FolderStore(folder.path().toStdString()), StoreError);
    }
    const FolderStore next(folder.path().toStdString());
}

void TestFolderStore::refusesAFileAsFolder()
{
    QTemporaryFile file;
    QVERIFY(file.open());
    QVERIFY_EXCEPTION_THROWN(FolderStore(file.fileName().toStdString()), StoreError);
}

QTEST_GUILESS_MAIN(TestFolderStore)
#include "tst_folderstore.moc"
