#include "capture.h"

#include "kxendpoints.h"
#include "shownrequest.h"
#include "support/server/scriptedserver.h"
#include "support/tool/toolsetup.h"
#include "support/wire/endpoints.h"

#include <QSettings>
#include <QUrl>

namespace {

// The page shows the addresses that a build has when it is told no others.
const QByteArray kServiceHost = QByteArrayLiteral("127.0.0.1:8700");
const QByteArray kReportHost = QByteArrayLiteral("127.0.0.1:21999");
const QString kFolder = QStringLiteral("/Users/zoe/KxClient");
constexpr quint16 kReportPort = 21999;
constexpr quint16 kHttpPort = 80;

using Settings = QMap<QString, QVariant>; ///< by "group/key"

Settings userOnly()
{
    return {{QStringLiteral("system/nickname"), QString::fromUtf8("Zo\xc3\xab")},
            {QStringLiteral("system/userId"), QStringLiteral("10042")},
            {QStringLiteral("system/namespace"), QStringLiteral("demo")}};
}

Settings userAndRooms()
{
    Settings settings = userOnly();
    settings.insert(QStringLiteral("system/loginName"), QStringLiteral("zoe"));
    settings.insert(QStringLiteral("system/version"), QStringLiteral("1.2.3"));
    settings.insert(QStringLiteral("room/101"), QStringLiteral("Lobby"));
    settings.insert(QStringLiteral("room/102"), QString::fromUtf8("Caf\xc3\xa9, 1st floor"));
    return settings;
}

/// One run of a program in an installation of its own, and what it sent.
class Scene
{
public:
    Scene(Captures &captures, quint16 port, const QByteArray &host, const QString &program = Sandbox::builtTool())
        : captures_(captures), server_(port), host_(host), sandbox_(program)
    {
        if (!server_.isListening())
            captures_.problems += server_.errorString();
        if (!sandbox_.isValid())
            captures_.problems += QStringLiteral("cannot install ") + program;
    }

    void configure(const Settings &settings)
    {
        const bool written = sandbox_.writeIni([&](QSettings &ini) {
            for (auto setting = settings.cbegin(); setting != settings.cend(); ++setting)
                ini.setValue(setting.key(), setting.value());
        });
        if (!written)
            captures_.problems += QStringLiteral("cannot write upload.ini");
    }

    QString addFile(const char *name, const char *bytes)
    {
        return sandbox_.addFile(QStringLiteral("files/") + QString::fromUtf8(name), bytes);
    }

    void run(const QStringList &arguments, const ToolOptions &options = {})
    {
        constexpr int kTimeoutMs = 60000;
        const ToolResult result = sandbox_.runTool(arguments, kTimeoutMs, options);
        if (!result.isSuccess())
            captures_.problems += QString::fromUtf8(result.describe());
    }

    /// Takes the request number \a index, counted from 0, as the example \a name.
    void take(int index, const char *name)
    {
        const RecordedRequest request = server_.requests().value(index);
        takeAs(name, request, request.body);
    }

    void takeOwnLog(int index, const char *name)
    {
        const RecordedRequest request = server_.requests().value(index);
        takeAs(name, request, withoutRunsOwn(request.body, sandbox_.appDirectory(), kFolder));
    }

    void takeReport(int index, const char *name)
    {
        const RecordedRequest request = server_.requests().value(index);
        takeAs(name, request, withoutSeconds(request.body));
    }

private:
    void takeAs(const char *name, const RecordedRequest &request, const QByteArray &body)
    {
        const QByteArray shown = shownRequest(request, host_, body);
        if (shown.isNull())
            captures_.problems += QStringLiteral("no sound request for the example ") + QLatin1String(name);
        else
            captures_.examples.append({QLatin1String(name), shown});
    }

    Captures &captures_;
    const ScriptedServer server_;
    const QByteArray host_;
    const Sandbox sandbox_;
};

void captureCrash(Captures &captures)
{
#ifdef KX_FAILING_OPEN_LIBRARY
    Scene scene(captures, servicePort(), kServiceHost);
    scene.configure(userAndRooms());
    const QString dump = scene.addFile("kxclient.dmp", "the bytes of the dump\n");
    ToolOptions options = preloading(QStringLiteral(KX_FAILING_OPEN_LIBRARY));
    options.environment.insert(QStringLiteral("KX_FAILING_OPEN"), dump);
    scene.run({dump}, options);
    scene.take(0, "crash");
#else
    Q_UNUSED(captures)
#endif
}

void captureListedFiles(Captures &captures)
{
    Scene scene(captures, servicePort(), kServiceHost);
    Settings settings = userAndRooms();
    settings.insert(QStringLiteral("call_7/path"), scene.addFile("call 7.log", "call 7 begins\ncall 7 ends\n"));
    settings.insert(QStringLiteral("call_7/nickname"), QStringLiteral("Guest"));
    settings.insert(QStringLiteral("mediasdk_1/path"), scene.addFile("media.log", "codec opened\r\n"));
    settings.insert(QStringLiteral("mediasdk_1/sdk"), 1);
    scene.configure(settings);
    scene.run({});
    scene.take(0, "logfile");
    scene.take(1, "producer");
}

void captureOddName(Captures &captures)
{
    Scene scene(captures, servicePort(), kServiceHost);
    Settings settings = userOnly();
    settings.insert(QStringLiteral("odd_name/path"), scene.addFile("two\r\nlines, \"7\", 100%.log", "text\n"));
    scene.configure(settings);
    scene.run({});
    scene.take(0, "odd-name");
}

void captureOwnLog(Captures &captures)
{
    Scene scene(captures, servicePort(), kServiceHost);
    scene.configure(userOnly());
    scene.run({});
    scene.takeOwnLog(0, "own-log");
}

void captureRequestFiles(Captures &captures)
{
    Scene scene(captures, servicePort(), kServiceHost, QStringLiteral(KX_PROTOCOL_CLIENT));
    Settings settings = userAndRooms();
    settings.insert(QStringLiteral("http_1/path"), scene.addFile("request 1.json", "{\"wanted\":\"logs\"}"));
    scene.configure(settings);
    scene.run({QStringLiteral("requestfiles")});
    scene.take(0, "uploadrequest");
}

void captureSingleRequestFile(Captures &captures)
{
    Scene scene(captures, servicePort(), kServiceHost, QStringLiteral(KX_PROTOCOL_CLIENT));
    Settings settings = userOnly();
    settings.insert(QStringLiteral("system/httppath"), scene.addFile("request 2.json", "{\"wanted\":\"logs\"}"));
    scene.configure(settings);
    scene.run({QStringLiteral("requestfile")});
    scene.take(0, "uploadrequest-single");
}

void captureReport(Captures &captures)
{
    Scene scene(captures, kReportPort, kReportHost, QStringLiteral(KX_PROTOCOL_CLIENT));
    scene.run({QStringLiteral("report")});
    scene.takeReport(0, "report");
}

void captureErrorReport(Captures &captures)
{
    const int port = QUrl(QLatin1String(kxendpoints::kErrorGatewayUrl)).port(kHttpPort);
    Scene scene(captures, static_cast<quint16>(port), kServiceHost, QStringLiteral(KX_PROTOCOL_CLIENT));
    scene.run({QStringLiteral("errorreport")});
    scene.take(0, "error");
}

} // namespace

bool canCaptureCrash()
{
#ifdef KX_FAILING_OPEN_LIBRARY
    return true;
#else
    return false;
#endif
}

Captures captureRequests()
{
    Captures captures;
    captureCrash(captures);
    captureListedFiles(captures);
    captureOddName(captures);
    captureOwnLog(captures);
    captureRequestFiles(captures);
    captureSingleRequestFile(captures);
    captureReport(captures);
    captureErrorReport(captures);
    return captures;
}
