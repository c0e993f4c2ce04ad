#include "store/uploadstore.h"
#include "support/files/fileio.h"

#include <QtTest/QtTest>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <functional>
#include <utility>

#include <dlfcn.h>

namespace {

std::string unmovable;               ///< end of the path that cannot be renamed
std::function<void()> beforeRemoval; ///< called once, when something is about to be removed

QStringList entries(const QString &folder)
{
    const auto names = QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot, QDir::Name);
    return names.filter(QRegularExpression(QStringLiteral("^(?!\\.lock$|\\.index\\.sqlite)")));
}

QString named(int number)
{
    return QStringLiteral("%1-logfile").arg(number, 6, 10, QLatin1Char('0'));
}

void store(UploadStore &store)
{
    UploadRecord record;
    record.kind = "logfile";
    store.begin()->finish(record);
}

} // namespace

/// In place of the system's.
extern "C" int rename(const char *from, const char *to)
{
    static const auto next = reinterpret_cast<int (*)(const char *, const char *)>(::dlsym(RTLD_NEXT, "rename"));
    const auto length = std::min(std::strlen(from), unmovable.size());
    if (unmovable.empty() || unmovable != from + std::strlen(from) - length)
        return next(from, to);
    errno = EBUSY;
    return -1;
}

/// Likewise.
extern "C" int unlinkat(int folder, const char *name, int flags)
{
    static const auto next = reinterpret_cast<int (*)(int, const char *, int)>(::dlsym(RTLD_NEXT, "unlinkat"));
    if (const auto call = std::exchange(beforeRemoval, nullptr))
        call();
    return next(folder, name, flags);
}

/// Which uploads go when the newest ones are to stay.
class TestKeptUploads : public QObject
{
    Q_OBJECT

private slots:
    void keepsTheNewest();
    void removesLaterWhatCannotBeRenamed();
    void keepsTheNewestBesideOneThatIsNeverRenamed();
    void listsNoneThatGoesWhileAnotherIsRemoved();
    void leavesFoldersOfOthersAlone();
    void removesNothingBehindALink();
};

void TestKeptUploads::keepsTheNewest()
{
    QTemporaryDir folder;
    const auto stored = [&folder](std::initializer_list<int> numbers) {
        QStringList names;
        for (const int number : numbers)
            names << named(number);
        return entries(folder.path()) == names;
    };
    {
        UploadStore all(folder.path().toStdString());
        for (int i = 0; i < 4; ++i)
            ::store(all);
    }
    UploadStore store(folder.path().toStdString(), 2);
    QVERIFY(stored({1, 2, 3, 4}));
    ::store(store);
    QVERIFY(stored({4, 5}));
    QCOMPARE(int(store.index().find(UploadQuery()).storedCount), 2);
    ::store(store);
    QVERIFY(stored({5, 6}));
    QCOMPARE(int(store.index().find(UploadQuery()).total), 2);
    QVERIFY(!store.index().find(*parseUploadId("000004-logfile")));
}

void TestKeptUploads::removesLaterWhatCannotBeRenamed()
{
    QTemporaryDir folder;
    UploadStore store(folder.path().toStdString(), 1);
    ::store(store);
    // Where the second upload is to move the first one.
    const QString planted = QStringLiteral(".incoming-3");
    QVERIFY(QDir(folder.path()).mkpath(planted + QStringLiteral("/x")));
    ::store(store);
    QCOMPARE(entries(folder.path()), QStringList({planted, named(1), named(2)}));
    QCOMPARE(int(store.index().find(UploadQuery()).storedCount), 2);
    ::store(store);
    QCOMPARE(entries(folder.path()), QStringList({planted, named(3)}));
    QCOMPARE(int(store.index().find(UploadQuery()).storedCount), 1);
}

void TestKeptUploads::keepsTheNewestBesideOneThatIsNeverRenamed()
{
#ifdef Q_OS_MACOS
    QSKIP("no function takes the place of the system's here");
#endif
    QTemporaryDir folder;
    UploadStore store(folder.path().toStdString(), 2);
    unmovable = "/000001-logfile";
    for (int i = 0; i < 5; ++i)
        ::store(store);
    unmovable.clear();
    QCOMPARE(entries(folder.path()), QStringList({named(1), named(4), named(5)}));
    QCOMPARE(int(store.index().find(UploadQuery()).storedCount), 3);
    // One that somebody has taken out is not waited for.
    QVERIFY(QDir(folder.filePath(named(4))).removeRecursively());
    for (int i = 0; i < 2; ++i)
        ::store(store);
    QCOMPARE(entries(folder.path()), QStringList({named(6), named(7)}));
    QCOMPARE(int(store.index().find(UploadQuery()).storedCount), 2);
}

void TestKeptUploads::listsNoneThatGoesWhileAnotherIsRemoved()
{
    QTemporaryDir folder;
    UploadStore kept(folder.path().toStdString(), 1);
    store(kept);
    // The second has sent the first away; meanwhile a third comes and sends the second away, and somebody looks.
    int seen = 0;
    beforeRemoval = [&] {
        store(kept);
        seen = int(kept.index().find(UploadQuery()).total);
    };
    store(kept);
    QVERIFY(!beforeRemoval);
    QVERIFY(seen > 0);
    QCOMPARE(entries(folder.path()), QStringList{named(3)});
    const auto found = kept.index().find(UploadQuery());
    QCOMPARE(int(found.total), 1);
    QCOMPARE(found.uploads[0].id.text, named(3).toStdString());
}

void TestKeptUploads::leavesFoldersOfOthersAlone()
{
    QTemporaryDir folder;
    const QStringList others{QStringLiteral(".incoming-mail"), QStringLiteral("000001-holiday")};
    for (const QString &name : others)
        QVERIFY(QDir(folder.path()).mkdir(name));
    UploadStore store(folder.path().toStdString(), 1);
    for (int i = 0; i < 3; ++i)
        ::store(store);
    QCOMPARE(entries(folder.path()), others + QStringList{QStringLiteral("000004-logfile")});
}

void TestKeptUploads::removesNothingBehindALink()
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
    UploadStore store(folder.path().toStdString(), 1);
    ::store(store);
    QCOMPARE(entries(folder.path()), (QStringList{QStringLiteral("000001-logfile"), QStringLiteral("000004-logfile")}));
    QCOMPARE(readFile(other.filePath(QStringLiteral("precious"))), QByteArray("precious"));
}

QTEST_GUILESS_MAIN(TestKeptUploads)
#include "tst_keptuploads.moc"
