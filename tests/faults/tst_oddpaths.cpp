#include "support/tool/toolsetup.h"
#include "support/wire/arrivals.h"
#include "support/wire/endpoints.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTest>
#include <functional>

#include <sys/stat.h>

namespace {

/// Makes the path of a group. Returns an empty one on failure.
using Maker = std::function<QString(const Sandbox &sandbox)>;

QString fifo(const Sandbox &sandbox)
{
    const QString path = sandbox.root() + QStringLiteral("/fifo");
    return ::mkfifo(QFile::encodeName(path).constData(), 0600) == 0 ? path : QString();
}

QString linkTo(const Sandbox &sandbox, const QString &target)
{
    const QString path = sandbox.root() + QStringLiteral("/link");
    return QFile::link(target, path) ? path : QString();
}

QString directory(const Sandbox &sandbox)
{
    const QString path = sandbox.addFile(QStringLiteral("folder/file"), "text");
    return path.isEmpty() ? path : QFileInfo(path).path();
}

} // namespace

Q_DECLARE_METATYPE(Maker)

/// Groups whose path is no regular file: none of them stops a run or is sent.
class TestOddPaths : public QObject
{
    Q_OBJECT

private slots:
    void areForgottenWithoutARequest_data()
    {
        QTest::addColumn<Maker>("maker");
        const auto fixed = [](const char *path) -> Maker {
            return [path](const Sandbox &) { return QString::fromLatin1(path); };
        };
        QTest::newRow("FIFO") << Maker(fifo);
        QTest::newRow("link to a FIFO") << Maker([](const Sandbox &sandbox) { return linkTo(sandbox, fifo(sandbox)); });
        QTest::newRow("endless device") << fixed("/dev/zero");
        QTest::newRow("terminal") << fixed("/dev/tty");
        QTest::newRow("folder") << Maker(directory);
        QTest::newRow("root folder") << fixed("/");
        QTest::newRow("link that leads nowhere")
            << Maker([](const Sandbox &sandbox) { return linkTo(sandbox, QStringLiteral("/nowhere/at/all")); });
        QTest::newRow("link to itself") << Maker(
            [](const Sandbox &sandbox) { return linkTo(sandbox, sandbox.root() + QStringLiteral("/link")); });
        QTest::newRow("endless name") << Maker([](const Sandbox &) { return QString(10000, QLatin1Char('x')); });
    }
    void areForgottenWithoutARequest()
    {
        QFETCH(Maker, maker);
        const ScriptedServer server(servicePort());
        QVERIFY(server.isListening());
        const Sandbox sandbox;
        QVERIFY(addUser(sandbox));
        const QString path = maker(sandbox);
        QVERIFY(!path.isEmpty());
        const bool existed = QFileInfo::exists(path);
        QVERIFY(addGroup(sandbox, QStringLiteral("a"), path, 1));
        QVERIFY(!addLog(sandbox, QStringLiteral("b"), "text").isEmpty());

        // The same as the crash dump of the command line, which is looked at first.
        const ToolResult result = sandbox.runTool({path});
        QVERIFY2(result.isSuccess(), result.describe());
        QVERIFY2(result.elapsedMs < kPromptMs, result.describe());
        QCOMPARE(sentFileNames(server), (QStringList{QStringLiteral("b.log"), QStringLiteral("own log")}));
        QCOMPARE(sandbox.groups(), QStringList(QStringLiteral("system")));
        QCOMPARE(QFileInfo::exists(path), existed);
    }

    void keepAGroupWhoseFileClaimsMoreThanItHolds()
    {
        const QString path = QStringLiteral("/sys/devices/system/cpu/online");
        if (QFileInfo(path).size() < 1024)
            QSKIP("this system has no such file");
        const ScriptedServer server(servicePort());
        QVERIFY(server.isListening());
        const Sandbox sandbox;
        QVERIFY(addUser(sandbox));
        QVERIFY(addGroup(sandbox, QStringLiteral("a"), path));
        QVERIFY(!addLog(sandbox, QStringLiteral("b"), "text").isEmpty());
        const ToolResult result = sandbox.runTool({});
        QVERIFY2(result.isSuccess(), result.describe());
        QVERIFY2(result.elapsedMs < kPromptMs, result.describe());
        QCOMPARE(sandbox.groups(), (QStringList{QStringLiteral("a"), QStringLiteral("system")}));
    }
};

QTEST_GUILESS_MAIN(TestOddPaths)
#include "tst_oddpaths.moc"
