#include "damage.h"
#include "inicheck.h"
#include "support/files/fileio.h"
#include "support/process/failingopen.h"

#include <QDir>
#include <QTemporaryDir>
#include <QTest>

/// A damaged list is read again under its lock before it is replaced, and that may fail.
class TestIniReadAgain : public QObject
{
    Q_OBJECT

private slots:
    void keepsTheFileWhenItCannotBeReadAgain()
    {
        const QTemporaryDir folder;
        const QString path = folder.filePath(QStringLiteral("upload.ini"));
        const QByteArray ini = "[log1]\npath=/a\nroom=" + hugeList();
        QVERIFY(writeFile(path, ini));
        failingopen::failAfter(path, 1, 1);
        QVERIFY(!takeHarmfulValuesOut(path));
        QCOMPARE(failingopen::attempts(), 2);
        QCOMPARE(readFile(path), ini);
        QCOMPARE(QDir(folder.path()).entryList(QDir::Files | QDir::Hidden), QStringList{QStringLiteral("upload.ini")});
        QVERIFY(takeHarmfulValuesOut(path));
        QCOMPARE(readFile(path), "[log1]\npath=/a\nroom=@" + hugeList());
    }
};

QTEST_GUILESS_MAIN(TestIniReadAgain)
#include "tst_inireadagain.moc"
