#include "scene.h"
#include "withouttimes.h"

#include <QTest>

/// The log where others end: behind main(), on a full disk, in a forked child, without standard error.
class TestLogTrouble : public QObject
{
    Q_OBJECT

private slots:
    void logsToTheLastDestructor_data();
    void logsToTheLastDestructor();
    void sendsNoReportAfterExit();
    void neverGluesRecordsTogether_data();
    void neverGluesRecordsTogether();
    void keepsNothingBackForAChild();
    void takesNoStandardDescriptor();
    void stampsInTheSameDigitsEverywhere();
};

void TestLogTrouble::logsToTheLastDestructor_data()
{
    QTest::addColumn<QString>("scene");
    QTest::newRow("plain") << QStringLiteral("afterMain");
    QTest::newRow("reporting is on") << QStringLiteral("reportingAfterMain");
}

void TestLogTrouble::logsToTheLastDestructor()
{
    QFETCH(QString, scene);
    const Scene run(scene);
    QVERIFY2(run.result().isSuccess(), run.result().describe());
    QCOMPARE(withoutTimes(run.text()),
             QByteArrayLiteral("[time][Debug][f][1][g]main\r\n\n"
                               "[time][Debug][f][1][g]plain\r\n\n"
                               "[time][Debug][f][1][g]größe 大小\r\n\n"
                               "[time][Warning][f][1][g]kx_client   kx_error   marked\r\n\n"));
}

void TestLogTrouble::sendsNoReportAfterExit()
{
    for (const int reports : {0, 1}) {
        const Scene run(QStringLiteral("exitingWhileReporting"), reports);
        QVERIFY2(run.result().isSuccess(), run.result().describe());
        QVERIFY2(withoutTimes(run.text()).endsWith("[time][Warning][f][1][g]kx_client   kx_error   marked\r\n\n"),
                 run.text());
    }
}

void TestLogTrouble::neverGluesRecordsTogether_data()
{
    QTest::addColumn<int>("space");
    QTest::addColumn<QByteArray>("text");
    QTest::newRow("no byte left") << 0 << QByteArrayLiteral("first\r\n\nspace again\r\n\nlast\r\n\n");
    QTest::newRow("one byte left") << 1 << QByteArrayLiteral("first\r\n\nc\r\n\nspace again\r\n\nlast\r\n\n");
    QTest::newRow("some bytes left") << 5 << QByteArrayLiteral("first\r\n\ncut s\r\n\nspace again\r\n\nlast\r\n\n");
}

void TestLogTrouble::neverGluesRecordsTogether()
{
    QFETCH(int, space);
    QFETCH(QByteArray, text);
    const Scene scene(QStringLiteral("fullDisk"), space);
    QVERIFY2(scene.result().isSuccess(), scene.result().describe());
    QCOMPARE(scene.text(), text);
}

void TestLogTrouble::keepsNothingBackForAChild()
{
    const Scene scene(QStringLiteral("forking"));
    QVERIFY2(scene.result().isSuccess(), scene.result().describe());
    QCOMPARE(withoutTimes(scene.text()),
             QByteArrayLiteral("[time][Debug][f][1][g]child\r\n\n[time][Debug][f][1][g]parent\r\n\n"));
}

void TestLogTrouble::takesNoStandardDescriptor()
{
    const Scene scene(QStringLiteral("withoutStandardError"));
    QVERIFY2(scene.result().isSuccess(), scene.result().describe());
    QCOMPARE(scene.text().count("]once\r\n\n"), 1);
    QCOMPARE(scene.text().count("]once more\r\n\n"), 1);
}

void TestLogTrouble::stampsInTheSameDigitsEverywhere()
{
    const Scene scene(QStringLiteral("stamps"), 0, {{QStringLiteral("LANG"), QStringLiteral("fa_IR.UTF-8")}});
    QVERIFY2(scene.result().isSuccess(), scene.result().describe());
    const QStringList names = QDir(scene.folder()).entryList(QDir::Files) +
                              QDir(scene.folder() + QStringLiteral("/sdk")).entryList(QDir::Files);
    QCOMPARE(names.size(), 3);
    for (const QString &name : names)
        QVERIFY2(!name.contains(QRegularExpression(QStringLiteral("[^ -~]"))), qPrintable(name));
    QCOMPARE(withoutTimes(scene.text()), QByteArrayLiteral("[time][Debug][f][1][g]stamped\r\n\n"));
}

QTEST_GUILESS_MAIN(TestLogTrouble)
#include "tst_logtrouble.moc"
