#include "store/uploadstore.h"

#include <QtTest/QtTest>

#include <algorithm>
#include <cerrno>

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

struct Flush
{
    ino_t file;
    bool isStored; ///< the upload has its name by then
};

// Other threads flush nothing here.
std::vector<Flush> flushes;
std::string storedName;
int failing = -1;
bool removesNothing = false;

QByteArray nameOf(const Flush &flush, const QString &folder)
{
    QDirIterator found(folder, QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot, QDirIterator::Subdirectories);
    struct stat status = {};
    while (found.hasNext()) {
        const QString path = found.next();
        if (::stat(QFile::encodeName(path).constData(), &status) == 0 && status.st_ino == flush.file)
            return QFile::encodeName(QDir(folder).relativeFilePath(path));
    }
    return ::stat(QFile::encodeName(folder).constData(), &status) == 0 && status.st_ino == flush.file ? "." : "?";
}

void store(UploadStore &store)
{
    flushes.clear();
    const auto upload = store.begin();
    for (const char *name : {"room.txt", "file.bin"}) {
        upload->beginFile(name);
        upload->write("bytes");
        upload->endFile();
    }
    UploadRecord record;
    record.kind = "logfile";
    upload->finish(record);
}

} // namespace

/// In place of the system's.
extern "C" int fsync(int descriptor)
{
    struct stat status = {};
    ::fstat(descriptor, &status);
    flushes.push_back({status.st_ino, ::access(storedName.c_str(), F_OK) == 0});
    if (failing >= 0 && failing-- == 0) {
        errno = EIO;
        return -1;
    }
    static const auto next = reinterpret_cast<int (*)(int)>(::dlsym(RTLD_NEXT, "fsync"));
    return next(descriptor);
}

/// Likewise.
extern "C" int unlinkat(int folder, const char *name, int flags)
{
    if (removesNothing) {
        errno = EIO;
        return -1;
    }
    static const auto next = reinterpret_cast<int (*)(int, const char *, int)>(::dlsym(RTLD_NEXT, "unlinkat"));
    return next(folder, name, flags);
}

class TestFlushing : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void flushesBeforeItAnswers();
    void storesNothingThatCannotBeFlushed_data();
    void storesNothingThatCannotBeFlushed();
    void leavesNoUploadThatCannotBeFlushed();
    void flushesWhatHoldsANewFolder();
};

void TestFlushing::initTestCase()
{
#ifdef F_FULLFSYNC
    QSKIP("this system has a flush of its own");
#endif
}

void TestFlushing::flushesBeforeItAnswers()
{
    QTemporaryDir folder;
    UploadStore opened(folder.path().toStdString());
    storedName = folder.filePath(QStringLiteral("000001-logfile")).toStdString();
    store(opened);
    const auto seen = flushes;
    QByteArrayList names;
    for (const auto &flush : seen)
        names << nameOf(flush, folder.path()) + (flush.isStored ? " stored" : "");
    // Each file, their names, and then the upload's.
    QCOMPARE(names, (QByteArrayList{"000001-logfile/room.txt", "000001-logfile/file.bin", "000001-logfile/upload.json",
                                    "000001-logfile", ". stored"}));
}

void TestFlushing::storesNothingThatCannotBeFlushed_data()
{
    QTest::addColumn<int>("which");
    for (int i = 0; i < 5; ++i)
        QTest::newRow(QByteArray::number(i).constData()) << i;
}

void TestFlushing::storesNothingThatCannotBeFlushed()
{
    QFETCH(int, which);
    QTemporaryDir folder;
    UploadStore opened(folder.path().toStdString());
    QCOMPARE(int(opened.index().find(UploadQuery()).storedCount), 0); // which may flush
    failing = which;
    QVERIFY_EXCEPTION_THROWN(store(opened), StoreError);
    QCOMPARE(failing, -1);
    QCOMPARE(QDir(folder.path()).entryList(QDir::Dirs | QDir::Hidden | QDir::NoDotAndDotDot), QStringList());
    QCOMPARE(int(opened.index().find(UploadQuery()).storedCount), 0);
    store(opened);
    QCOMPARE(int(opened.index().find(UploadQuery()).storedCount), 1);
}

/// Nor what is left of it when it cannot be removed either.
void TestFlushing::leavesNoUploadThatCannotBeFlushed()
{
    QTemporaryDir folder;
    {
        UploadStore opened(folder.path().toStdString());
        QCOMPARE(int(opened.index().find(UploadQuery()).storedCount), 0);
        failing = 4;
        removesNothing = true;
        QVERIFY_EXCEPTION_THROWN(store(opened), StoreError);
        removesNothing = false;
        const auto folders = QDir(folder.path()).entryList(QDir::Dirs | QDir::Hidden | QDir::NoDotAndDotDot);
        QCOMPARE(folders, QStringList(QStringLiteral(".incoming-1")));
    }
    const UploadStore opened(folder.path().toStdString());
    QCOMPARE(QDir(folder.path()).entryList(QDir::Dirs | QDir::Hidden | QDir::NoDotAndDotDot), QStringList());
}

/// Or all of it could be gone after a loss of power, with uploads that were answered.
void TestFlushing::flushesWhatHoldsANewFolder()
{
    QTemporaryDir folder;
    const auto flushed = [&folder](const char *name) {
        struct stat status = {};
        ::stat(QFile::encodeName(folder.filePath(QLatin1String(name))).constData(), &status);
        return std::any_of(flushes.begin(), flushes.end(),
                           [&status](const Flush &flush) { return flush.file == status.st_ino; });
    };
    const auto open = [&folder](const char *name) {
        flushes.clear();
        const UploadStore opened(folder.filePath(QLatin1String(name)).toStdString());
    };
    open("a/b/c/");
    QVERIFY(flushed("") && flushed("a") && flushed("a/b"));
    open("a/b/c");
    QVERIFY(!flushed("") && !flushed("a") && !flushed("a/b"));
    QVERIFY(QFile::link(folder.filePath(QStringLiteral("a")), folder.filePath(QStringLiteral("link"))));
    open("link/d");
    QVERIFY(flushed("a"));
}

QTEST_GUILESS_MAIN(TestFlushing)
#include "tst_flushing.moc"
