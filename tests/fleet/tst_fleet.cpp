#include "support/files/fileio.h"
#include "support/tool/logserviceprocess.h"
#include "support/tool/toolsetup.h"
#include "support/wire/endpoints.h"

#include <QCryptographicHash>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSettings>
#include <QTest>

#include <memory>
#include <vector>

namespace {

constexpr int kMachines = 200;
constexpr int kFiles = 20;

QString nameOf(int machine, int file)
{
    return QStringLiteral("m%1f%2").arg(machine, 3, 10, QLatin1Char('0')).arg(file, 2, 10, QLatin1Char('0'));
}

/// Different for each file, in length too.
QByteArray contentOf(const QString &name)
{
    return name.toLatin1().repeated(1 + int(qHash(name, 1) % 400)) + '\n';
}

QByteArray sha256(const QByteArray &bytes)
{
    return QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex();
}

} // namespace

/// Two hundred machines that are started at once, beside the local log service.
class TestFleet : public QObject
{
    Q_OBJECT

private slots:
    void arrivesExactlyOnce()
    {
        const QTemporaryDir folder;
        LogServiceProcess service;
        QVERIFY(service.start({QStringLiteral("--no-report"), QStringLiteral("--port"), QString::number(servicePort()),
                               QStringLiteral("--dir"), folder.path()}));

        std::vector<std::unique_ptr<Sandbox>> machines;
        QMap<QString, QByteArray> sent;
        for (int machine = 0; machine < kMachines; ++machine) {
            machines.push_back(std::make_unique<Sandbox>(Sandbox::builtTool(), fastFolder()));
            QByteArray list = "[system]\nnickname=ann\nuserId=42\n";
            for (int file = 0; file < kFiles; ++file) {
                const QString name = nameOf(machine, file);
                QVERIFY(!machines.back()->addFile(QStringLiteral("logs/%1.log").arg(name), contentOf(name)).isEmpty());
                list += "\n[" + name.toLatin1() + "]\nsdk=0\n";
                sent.insert(name + QStringLiteral(".log"), sha256(contentOf(name)));
            }
            QVERIFY(machines.back()->writeRawIni(list));
        }

        QElapsedTimer clock;
        clock.start();
        std::vector<std::unique_ptr<ToolRun>> runs;
        for (const auto &machine : machines)
            runs.push_back(machine->startTool({}));
        QByteArray lines;
        for (const auto &run : runs) {
            // The service's lines are read meanwhile: it is not what is asked here how much it keeps for a slow reader.
            while (run->isRunning() && run->elapsedMs() < kMaxMs) {
                lines = service.requestLines();
                QTest::qWait(20);
            }
            const ToolResult result = run->finish(kMaxMs);
            QVERIFY2(result.isSuccess(), result.describe().left(5000));
        }
        qInfo("%d machines with %d files each took %lld ms", kMachines, kFiles, clock.elapsed());

        for (const auto &machine : machines)
            QCOMPARE(machine->groups(), QStringList{QStringLiteral("system")});
        QCOMPARE(service.stop(), 0);
        QCOMPARE(service.errorText(), QByteArray());
        lines = service.requestLines();

        int ownLogs = 0;
        QMap<QString, QByteArray> stored;
        for (const QFileInfo &upload : QDir(folder.path()).entryInfoList(QDir::Dirs | QDir::NoDotAndDotDot)) {
            const QDir files(upload.filePath());
            const QJsonObject record =
                QJsonDocument::fromJson(readFile(files.filePath(QStringLiteral("upload.json")))).object();
            const QByteArray content = readFile(files.filePath(QStringLiteral("file.bin")));
            const QString name = record.value(QStringLiteral("fileName")).toString();
            if (name.startsWith(QLatin1String("upload_"))) {
                ++ownLogs;
                continue;
            }
            QVERIFY2(!stored.contains(name), qPrintable(name));
            stored.insert(name, sha256(content));
        }
        QCOMPARE(stored, sent);
        QCOMPARE(ownLogs, kMachines);
        QCOMPARE(lines.count('\n'), kMachines * (kFiles + 1));
    }

private:
    static constexpr int kMaxMs = 280000;
};

QTEST_GUILESS_MAIN(TestFleet)
#include "tst_fleet.moc"
