#include "store/uploadstore.h"
#include "support/files/fileio.h"

#include <QtTest/QtTest>

#include <cerrno>
#include <csignal>
#include <cstring>

#include <dlfcn.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

int lockError = 0; ///< of the next calls of flock(); 0: none

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

QString refusalOf(const QString &folder)
{
    try {
        const UploadStore store(folder.toStdString());
    } catch (const StoreError &error) {
        return QString::fromUtf8(error.what());
    }
    return {};
}

} // namespace

/// In place of the system's.
extern "C" int flock(int descriptor, int operation)
{
    static const auto next = reinterpret_cast<int (*)(int, int)>(::dlsym(RTLD_NEXT, "flock"));
    if (lockError == 0)
        return next(descriptor, operation);
    errno = lockError;
    return -1;
}

class TestUploadStore : public QObject
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
    void saysWhyItCannotLockTheFolder();
    void refusesAFileAsFolder();
    void refusesAFolderThatOthersMayWriteTo_data();
    void refusesAFolderThatOthersMayWriteTo();
    void refusesAFolderOfAnotherUser();
    void passesOverATemporaryThatIsThere();
    void givesUpWhenAllTemporariesAreThere();
    void neverUsesAFileThatIsThere();
    void storesDeepDocumentsCompactly();
    void indexesWhatItStores();
    void findsLaterWhatTheIndexHadNoSpaceFor();
};

void TestUploadStore::showsAnUploadOnlyWhenItIsComplete()
{
    QTemporaryDir folder;
    UploadStore store(folder.path().toStdString());
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

void TestUploadStore::removesAnAbandonedUpload()
{
    QTemporaryDir folder;
    UploadStore store(folder.path().toStdString());
    auto upload = store.begin();
    upload->beginFile("file.bin");
    upload->write("bytes");
    upload.reset();
    QCOMPARE(entries(folder.path()), QStringList());
}

void TestUploadStore::removesWhatIsUnderWayWhenItCloses()
{
    QTemporaryDir folder;
    UploadStore store(folder.path().toStdString());
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

void TestUploadStore::removesWhatAnEarlierProcessLeft()
{
    QTemporaryDir folder;
    QVERIFY(QDir(folder.path()).mkpath(QStringLiteral(".incoming-7/x")));
    QVERIFY(QDir(folder.path()).mkpath(QStringLiteral("000001-logfile")));
    QVERIFY(QDir(folder.path()).mkpath(QStringLiteral("mine")));
    const UploadStore store(folder.path().toStdString());
    QCOMPARE(entries(folder.path()), QStringList({QStringLiteral("000001-logfile"), QStringLiteral("mine")}));
}

void TestUploadStore::countsOnBehindTheHighestNumber_data()
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

void TestUploadStore::countsOnBehindTheHighestNumber()
{
    QFETCH(QStringList, existing);
    QTemporaryDir folder;
    for (const QString &name : existing)
        QVERIFY(QDir(folder.path()).mkdir(name));
    UploadStore store(folder.path().toStdString());
    QTEST(QByteArray::fromStdString(store.begin()->finish(record())), "next");
}

/// Rather than a folder that the page would not show, nor the next process count.
void TestUploadStore::storesNothingWhenTheNumbersAreUsedUp()
{
    const QString last = QStringLiteral("999999999999999999-crash");
    QTemporaryDir folder;
    QVERIFY(QDir(folder.path()).mkdir(last));
    UploadStore store(folder.path().toStdString());
    for (int i = 0; i < 2; ++i)
        QVERIFY_EXCEPTION_THROWN(store.begin()->finish(record()), StoreError);
    QCOMPARE(entries(folder.path()), QStringList(last));
}

void TestUploadStore::isUsedByOneAtATime()
{
    QTemporaryDir folder;
    {
        const UploadStore store(folder.path().toStdString());
        QCOMPARE(refusalOf(folder.path()),
                 QStringLiteral("another kxlogservice uses the folder '%1'").arg(folder.path()));
    }
    QCOMPARE(refusalOf(folder.path()), QString());
}

void TestUploadStore::saysWhyItCannotLockTheFolder()
{
#ifdef Q_OS_MACOS
    QSKIP("no function takes the place of the system's here");
#endif
    QTemporaryDir folder;
    lockError = ENOLCK;
    const QString reason = refusalOf(folder.path());
    lockError = 0;
    QVERIFY2(reason.contains(folder.path()) && reason.endsWith(QString::fromUtf8(std::strerror(ENOLCK))),
             qPrintable(reason));
}

void TestUploadStore::refusesAFileAsFolder()
{
    QTemporaryFile file;
    QVERIFY(file.open());
    QVERIFY_EXCEPTION_THROWN(UploadStore(file.fileName().toStdString()), StoreError);
}

void TestUploadStore::refusesAFolderThatOthersMayWriteTo_data()
{
    QTest::addColumn<uint>("mode");
    QTest::addColumn<bool>("isTaken");
    QTest::newRow("nobody else") << 0700U << true;
    QTest::newRow("others read") << 0755U << true;
    QTest::newRow("group writes") << 0775U << false;
    QTest::newRow("others write") << 0757U << false;
    QTest::newRow("all write, none removes") << 01777U << false;
}

void TestUploadStore::refusesAFolderThatOthersMayWriteTo()
{
    QFETCH(uint, mode);
    QFETCH(bool, isTaken);
    QTemporaryDir folder;
    QCOMPARE(::chmod(QFile::encodeName(folder.path()).constData(), static_cast<mode_t>(mode)), 0);
    const QString reason = refusalOf(folder.path());
    QCOMPARE(reason.isEmpty(), isTaken);
    QVERIFY2(isTaken || reason.contains(QStringLiteral("other users may write to the folder '")), qPrintable(reason));
    if (!isTaken)
        QCOMPARE(QDir(folder.path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot), QStringList());
}

void TestUploadStore::refusesAFolderOfAnotherUser()
{
    QTemporaryDir folder;
    if (::geteuid() != 0)
        QSKIP("only root can give a folder to somebody else");
    if (::chown(QFile::encodeName(folder.path()).constData(), 1, 1) != 0)
        QSKIP("this root may not give a folder to somebody else");
    QVERIFY_EXCEPTION_THROWN(UploadStore(folder.path().toStdString()), StoreError);
}

/// It may hold links, which would be followed.
void TestUploadStore::passesOverATemporaryThatIsThere()
{
    QTemporaryDir folder;
    UploadStore store(folder.path().toStdString());
    const QString precious = folder.filePath(QStringLiteral("precious"));
    QVERIFY(writeFile(precious, "precious"));
    const QString planted = folder.filePath(QStringLiteral(".incoming-1"));
    QVERIFY(QDir(folder.path()).mkdir(planted));
    QVERIFY(QFile::link(precious, planted + QStringLiteral("/file.bin")));
    QVERIFY(QFile::link(planted, folder.filePath(QStringLiteral(".incoming-2"))));
    const auto upload = store.begin();
    upload->beginFile("file.bin");
    upload->write("bytes");
    upload->endFile();
    QCOMPARE(upload->finish(record()), std::string("000001-logfile"));
    QCOMPARE(readFile(precious), QByteArray("precious"));
    QCOMPARE(entries(planted), QStringList(QStringLiteral("file.bin")));
    QCOMPARE(readFile(folder.filePath(QStringLiteral("000001-logfile/file.bin"))), QByteArray("bytes"));
}

/// Rather than trying for ever.
void TestUploadStore::givesUpWhenAllTemporariesAreThere()
{
    QTemporaryDir folder;
    UploadStore store(folder.path().toStdString());
    for (int i = 1; i <= 150; ++i)
        QVERIFY(QDir(folder.path()).mkdir(QStringLiteral(".incoming-%1").arg(i)));
    QVERIFY_EXCEPTION_THROWN(store.begin(), StoreError);
}

void TestUploadStore::neverUsesAFileThatIsThere()
{
    QTemporaryDir folder;
    UploadStore store(folder.path().toStdString());
    const QString precious = folder.filePath(QStringLiteral("precious"));
    QVERIFY(writeFile(precious, "precious"));
    const auto upload = store.begin();
    QVERIFY(QFile::link(precious, folder.filePath(QStringLiteral(".incoming-1/upload.json"))));
    QVERIFY_EXCEPTION_THROWN(upload->finish(record()), StoreError);
    QCOMPARE(readFile(precious), QByteArray("precious"));
}

void TestUploadStore::storesDeepDocumentsCompactly()
{
    QTemporaryDir folder;
    UploadStore store(folder.path().toStdString());
    auto nested = record();
    std::string text;
    for (int i = 0; i < 1000; ++i)
        text += (i == 0 ? "" : ",") + std::string(90, '[') + std::string(90, ']');
    nested.fields = nlohmann::json::parse("{\"a\":[" + text + "]}");
    const auto id = store.begin()->finish(nested);
    const auto size = QFileInfo(folder.filePath(QString::fromStdString(id) + QStringLiteral("/upload.json"))).size();
    QVERIFY2(size < qint64(text.size()) + 1000, QByteArray::number(size).constData());
}

void TestUploadStore::indexesWhatItStores()
{
    QTemporaryDir folder;
    UploadStore store(folder.path().toStdString());
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

/// A bound on the size of files stands for a full disk: uploads are below it, what the index writes is above.
void TestUploadStore::findsLaterWhatTheIndexHadNoSpaceFor()
{
    QTemporaryDir folder;
    UploadStore store(folder.path().toStdString());
    store.begin()->finish(record());
    QCOMPARE(int(store.index().find(UploadQuery()).storedCount), 1);
    rlimit files = {};
    QCOMPARE(::getrlimit(RLIMIT_FSIZE, &files), 0);
    const auto unbounded = files;
    files.rlim_cur = 4096;
    std::signal(SIGXFSZ, SIG_IGN);
    QCOMPARE(::setrlimit(RLIMIT_FSIZE, &files), 0);
    std::vector<std::string> ids;
    std::vector<int> found;
    for (int i = 0; i < 150; ++i) { // more than the index takes in at once
        ids.push_back(store.begin()->finish(record()));
        if (i % 50 == 0)
            found.push_back(int(store.index().find(UploadQuery()).storedCount));
    }
    QCOMPARE(::setrlimit(RLIMIT_FSIZE, &unbounded), 0);
    QCOMPARE(ids.back(), std::string("000151-logfile"));
    QCOMPARE(found, std::vector<int>({1, 1, 1}));
    QCOMPARE(int(store.index().find(UploadQuery()).storedCount), 151);
    UploadQuery query;
    query.text = "000151";
    QCOMPARE(int(store.index().find(query).total), 1);
}

QTEST_GUILESS_MAIN(TestUploadStore)
#include "tst_uploadstore.moc"
