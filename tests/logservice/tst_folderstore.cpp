#include "store/folderstore.h"
#include "support/files/fileio.h"

#include <QtTest/QtTest>

#include <sys/stat.h>
#include <unistd.h>

namespace {

QStringList entries(const QString &folder)
{
    const auto names = QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot, QDir::Name);
    return names.filter(QRegularExpression(QStringLiteral("^(?!\\.lock$|\\.index\\.sqlite)")));
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
    void refusesAFolderThatOthersMayWriteTo_data();
    void refusesAFolderThatOthersMayWriteTo();
    void refusesAFolderOfAnotherUser();
    void neverUsesATemporaryThatIsThere();
    void neverUsesAFileThatIsThere();
    void storesDeepDocumentsCompactly();
    void indexesWhatItStores();
    void keepsTheNewest();
    void leavesFoldersOfOthersAlone();
    void removesNothingBehindALink();
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

void TestFolderStore::refusesAFolderThatOthersMayWriteTo_data()
{
    QTest::addColumn<uint>("mode");
    QTest::addColumn<bool>("isTaken");
    QTest::newRow("nobody else") << 0700U << true;
    QTest::newRow("others read") << 0755U << true;
    QTest::newRow("group writes") << 0775U << false;
    QTest::newRow("others write") << 0757U << false;
    QTest::newRow("all write, none removes") << 01777U << false;
}

void TestFolderStore::refusesAFolderThatOthersMayWriteTo()
{
    QFETCH(uint, mode);
    QFETCH(bool, isTaken);
    QTemporaryDir folder;
    QCOMPARE(::chmod(QFile::encodeName(folder.path()).constData(), static_cast<mode_t>(mode)), 0);
    QString reason;
    try {
        const FolderStore store(folder.path().toStdString());
    } catch (const StoreError &error) {
        reason = QString::fromUtf8(error.what());
    }
    QCOMPARE(reason.isEmpty(), isTaken);
    QVERIFY2(isTaken || reason.contains(QStringLiteral("other users may write to the folder '")), qPrintable(reason));
    if (!isTaken)
        QCOMPARE(QDir(folder.path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot), QStringList());
}

void TestFolderStore::refusesAFolderOfAnotherUser()
{
    QTemporaryDir folder;
    if (::geteuid() != 0)
        QSKIP("only root can give a folder to somebody else");
    if (::chown(QFile::encodeName(folder.path()).constData(), 1, 1) != 0)
        QSKIP("this root may not give a folder to somebody else");
    QVERIFY_EXCEPTION_THROWN(FolderStore(folder.path().toStdString()), StoreError);
}

/// It may hold links, which would be followed.
void TestFolderStore::neverUsesATemporaryThatIsThere()
{
    QTemporaryDir folder;
    FolderStore store(folder.path().toStdString());
    const QString precious = folder.filePath(QStringLiteral("precious"));
    QVERIFY(writeFile(precious, "precious"));
    QVERIFY(QDir(folder.path()).mkdir(QStringLiteral(".incoming-1")));
    QVERIFY(QFile::link(precious, folder.filePath(QStringLiteral(".incoming-1/file.bin"))));
    bool isRefused = false;
    try {
        const auto upload = store.begin();
        upload->beginFile("file.bin");
        upload->write("bytes");
        upload->endFile();
        upload->finish(record());
    } catch (const StoreError &) {
        isRefused = true;
    }
    QCOMPARE(readFile(precious), QByteArray("precious"));
    QVERIFY(isRefused);
    QCOMPARE(store.begin()->finish(record()), std::string("000001-logfile"));
}

void TestFolderStore::neverUsesAFileThatIsThere()
{
    QTemporaryDir folder;
    FolderStore store(folder.path().toStdString());
    const QString precious = folder.filePath(QStringLiteral("precious"));
    QVERIFY(writeFile(precious, "precious"));
    const auto upload = store.begin();
    QVERIFY(QFile::link(precious, folder.filePath(QStringLiteral(".incoming-1/upload.json"))));
    QVERIFY_EXCEPTION_THROWN(upload->finish(record()), StoreError);
    QCOMPARE(readFile(precious), QByteArray("precious"));
}

void TestFolderStore::storesDeepDocumentsCompactly()
{
    QTemporaryDir folder;
    FolderStore store(folder.path().toStdString());
    auto nested = record();
    std::string text;
    for (int i = 0; i < 1000; ++i)
        text += (i == 0 ? "" : ",") + std::string(90, '[') + std::string(90, ']');
    nested.fields = nlohmann::json::parse("{\"a\":[" + text + "]}");
    const auto id = store.begin()->finish(nested);
    const auto size = QFileInfo(folder.filePath(QString::fromStdString(id) + QStringLiteral("/upload.json"))).size();
    QVERIFY2(size < qint64(text.size()) + 1000, QByteArray::number(size).constData());
}

void TestFolderStore::indexesWhatItStores()
{
    QTemporaryDir folder;
    FolderStore store(folder.path().toStdString());
    const auto upload = store.begin();
    for (const char *name : {"room.txt", "file.bin"}) {
        upload->beginFile(name);
        upload->write("byt");
        upload->write("es");
        upload->endFile();
    }
    auto sent = record();
    sent.fileName = "a\xff.log";
    // Above what the record is read for, were it read again.
    sent.fields = {{"room", "nickname-ann." + std::string(1, ' ')}, {"x", std::string(2000000, 'x')}};
    upload->finish(sent);
    UploadQuery query;
    query.text = "a\xef\xbf\xbd.l";
    const auto matches = store.index().find(query);
    QCOMPARE(int(matches.uploads.size()), 1);
    const auto &found = matches.uploads.front();
    QCOMPARE(found.contentName, std::string("file.bin"));
    QCOMPARE(int(found.bytes.value_or(0)), 5);
    QCOMPARE(found.sha256, QCryptographicHash::hash("bytes", QCryptographicHash::Sha256).toHex().toStdString());
    QVERIFY(!found.time.empty());
    QCOMPARE(found.fileName.value_or("none"), std::string("a\xef\xbf\xbd.log"));
    QCOMPARE(found.unsplit, std::string("nickname-ann. "));
}

void TestFolderStore::keepsTheNewest()
{
    QTemporaryDir folder;
    const auto stored = [&folder](std::initializer_list<int> numbers) {
        QStringList names;
        for (const int number : numbers)
            names << QStringLiteral("%1-logfile").arg(number, 6, 10, QLatin1Char('0'));
        return entries(folder.path()) == names;
    };
    {
        FolderStore all(folder.path().toStdString());
        for (int i = 0; i < 4; ++i)
            all.begin()->finish(record());
    }
    FolderStore store(folder.path().toStdString(), 2);
    QVERIFY(stored({1, 2, 3, 4}));
    store.begin()->finish(record());
    QVERIFY(stored({4, 5}));
    QCOMPARE(int(store.index().storedCount()), 2);
    store.begin()->finish(record());
    QVERIFY(stored({5, 6}));
    QCOMPARE(int(store.index().find(UploadQuery()).total), 2);
    QVERIFY(!store.index().find(*parseUploadId("000004-logfile")));
}

void TestFolderStore::leavesFoldersOfOthersAlone()
{
    QTemporaryDir folder;
    const QStringList others{QStringLiteral(".incoming-mail"), QStringLiteral("000001-holiday")};
    for (const QString &name : others)
        QVERIFY(QDir(folder.path()).mkdir(name));
    FolderStore store(folder.path().toStdString(), 1);
    for (int i = 0; i < 3; ++i)
        store.begin()->finish(record());
    QCOMPARE(entries(folder.path()), others + QStringList{QStringLiteral("000004-logfile")});
}

void TestFolderStore::removesNothingBehindALink()
{
    QTemporaryDir other;
    QVERIFY(writeFile(other.filePath(QStringLiteral("precious")), "precious"));
    QTemporaryDir folder;
    QVERIFY(QFile::link(other.path(), folder.filePath(QStringLiteral("000001-logfile"))));
    QVERIFY(QDir(folder.path()).mkdir(QStringLiteral("000002-logfile")));
    QVERIFY(QFile::link(other.path(), folder.filePath(QStringLiteral("000002-logfile/link"))));
    QVERIFY(QDir(folder.path()).mkdir(QStringLiteral("000003-logfile")));
    for (const char *record : {"000002-logfile/upload.json", "000003-logfile/upload.json"})
        QVERIFY(writeFile(folder.filePath(QLatin1String(record)), "{}"));
    FolderStore store(folder.path().toStdString(), 1);
    store.begin()->finish(record());
    QCOMPARE(entries(folder.path()), (QStringList{QStringLiteral("000001-logfile"), QStringLiteral("000004-logfile")}));
    QCOMPARE(readFile(other.filePath(QStringLiteral("precious"))), QByteArray("precious"));
}

QTEST_GUILESS_MAIN(TestFolderStore)
#include "tst_folderstore.moc"
