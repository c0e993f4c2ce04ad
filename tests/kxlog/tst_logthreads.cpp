#include "scene.h"
#include "withouttimes.h"

#include <QHash>
#include <QRegularExpression>
#include <QTest>

/// The log of processes whose threads log at full speed.
class TestLogThreads : public QObject
{
    Q_OBJECT

private slots:
    void keepsEveryRecordOfEveryThread();
    void echoesRecordsAsAWhole();
    void makesOneObjectForAllThreads();
    void closesAndOpensBesideWriters();
    void endsObjectsInAnyThread();
    void switchesBesideWriters();
    void forksBesideWriters();
};

namespace {

constexpr int kThreads = 4;

/// What is wrong with a text in which each thread has logged the records 0 to \a count - 1, each whole and in order.
QString problemOf(const QByteArray &text, int count)
{
    static const QRegularExpression form(
        QStringLiteral("^\\[time\\]\\[(?:Debug|Warning)\\]\\[f\\]\\[1\\]\\[g\\]thread (\\d) record (\\d+)"
                       "(?: größe| -{3000})?$"));
    QHash<int, int> next;
    QStringList records = QString::fromUtf8(withoutTimes(text)).split(QStringLiteral("\r\n\n"));
    if (!records.takeLast().isEmpty())
        return QStringLiteral("no line end at the end");
    for (const QString &record : records) {
        const QRegularExpressionMatch match = form.match(record);
        if (!match.hasMatch())
            return QStringLiteral("torn: ") + record.left(200);
        if (match.captured(2).toInt() != next[match.captured(1).toInt()]++)
            return QStringLiteral("not in turn: ") + record;
    }
    for (int thread = 0; thread < kThreads; ++thread) {
        if (next.value(thread) != count)
            return QStringLiteral("thread %1 has %2 records").arg(thread).arg(next.value(thread));
    }
    return {};
}

} // namespace

void TestLogThreads::keepsEveryRecordOfEveryThread()
{
    constexpr int kRecords = 10000;
    const Scene scene(QStringLiteral("threads"), kRecords);
    QVERIFY2(scene.result().isSuccess(), scene.result().describe());
    QCOMPARE(problemOf(scene.text(), kRecords), QString());
}

void TestLogThreads::echoesRecordsAsAWhole()
{
    constexpr int kRecords = 2000;
    const Scene scene(QStringLiteral("echoingThreads"), kRecords);
    QVERIFY2(scene.result().isSuccess(), scene.result().describe());
    const QByteArray echo = scene.result().standardError;
    QCOMPARE(problemOf(echo.mid(echo.indexOf('\n') + 1), kRecords), QString());
    QCOMPARE(problemOf(scene.text(), kRecords), QString());
}

void TestLogThreads::makesOneObjectForAllThreads()
{
    for (int attempt = 0; attempt < 30; ++attempt) {
        const Scene scene(QStringLiteral("firstMessages"));
        QVERIFY2(scene.result().isSuccess(), scene.result().describe());
    }
}

void TestLogThreads::closesAndOpensBesideWriters()
{
    constexpr int kTimes = 300;
    const Scene scene(QStringLiteral("reopening"), kTimes);
    QVERIFY2(scene.result().isSuccess(), scene.result().describe());
    for (int i = 0; i < kTimes; ++i)
        QCOMPARE(readFile(scene.folder() + QStringLiteral("/own_%1").arg(i)), QByteArray(""));
    for (const QByteArray &record : withoutTimes(scene.text()).split('\n')) {
        if (!record.isEmpty())
            QVERIFY2(record.startsWith("[time][") && record.endsWith('\r') && record.count("[time]") == 1, record);
    }
}

void TestLogThreads::endsObjectsInAnyThread()
{
    constexpr int kTimes = 200;
    const Scene scene(QStringLiteral("objects"), kTimes);
    QVERIFY2(scene.result().isSuccess(), scene.result().describe());
    QByteArray all;
    for (int i = 0; i < kTimes; ++i)
        all += "object " + QByteArray::number(i) + '\n';
    for (int thread = 0; thread < kThreads; ++thread) {
        const QDir folder(scene.folder() + QStringLiteral("/%1").arg(thread));
        QByteArray text;
        for (const QString &name : folder.entryList({QStringLiteral("upload_*.log")}, QDir::Files, QDir::Name))
            text += readFile(folder.filePath(name));
        QCOMPARE(text, all);
    }
}

void TestLogThreads::switchesBesideWriters()
{
    const Scene scene(QStringLiteral("switches"), 2000);
    QVERIFY2(scene.result().isSuccess(), scene.result().describe());
    QCOMPARE(withoutTimes(scene.text()).count("[time]"), 2001);
}

void TestLogThreads::forksBesideWriters()
{
    const Scene scene(QStringLiteral("forkingBesideThreads"), 20);
    QVERIFY2(scene.result().isSuccess(), scene.result().describe());
    QCOMPARE(scene.text().count("[g]parent\r\n\n"), 20);
    QCOMPARE(scene.text().count("[g]child\r\n\n"), 20);
}

QTEST_GUILESS_MAIN(TestLogThreads)
#include "tst_logthreads.moc"
