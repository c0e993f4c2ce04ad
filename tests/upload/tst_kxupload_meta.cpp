#include "support/files/fileio.h"
#include "support/process/messagecatcher.h"
#include "support/uploader/testuploader.h"
#include "support/uploader/uploadini.h"

#include <QCoreApplication>
#include <QMetaMethod>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QPointer>
#include <QSettings>
#include <QTest>
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
#include <QTextCodec>
#endif

/// Something that is no reply and sends the signal that the slots wait for.
class Sender : public QObject
{
    Q_OBJECT

signals:
    void finished();
};

class TestKxUploadMeta : public QObject
{
    Q_OBJECT

private slots:
    void cleanup() { uploadini::remove(); }

    void isAQObjectOfItsName();
    void hasExactlySixSlotsInOrder();
    void hasNoPropertiesEnumsOrConstructors();
    void startsEmpty();
    void belongsToItsParent();
    void opensItsSettingsBesideTheProgram();
    void leavesItsSettingsBehind();
    void remembersTheCrashPath();
    void makesManagersOfItsOwn();
    void deletesAReplyAndItsManagerLater();
    void ignoresASenderThatIsNoReply_data();
    void ignoresASenderThatIsNoReply();
    void ignoresACallWithoutSender_data();
    void ignoresACallWithoutSender();

private:
    static void addSlotRows()
    {
        QTest::addColumn<QByteArray>("slot");
        const QMetaObject &meta = KxUpload::staticMetaObject;
        for (int i = meta.methodOffset(); i < meta.methodCount(); ++i)
            QTest::newRow(meta.method(i).name().constData()) << meta.method(i).methodSignature();
    }
};

void TestKxUploadMeta::isAQObjectOfItsName()
{
    QCOMPARE(KxUpload::staticMetaObject.className(), "KxUpload");
    QCOMPARE(KxUpload::staticMetaObject.superClass(), &QObject::staticMetaObject);
}

void TestKxUploadMeta::hasExactlySixSlotsInOrder()
{
    const QMetaObject &meta = KxUpload::staticMetaObject;
    QList<QByteArray> signatures;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        const QMetaMethod method = meta.method(i);
        QCOMPARE(method.methodType(), QMetaMethod::Slot);
        QCOMPARE(method.access(), QMetaMethod::Public);
        QCOMPARE(method.typeName(), "void");
        signatures += method.methodSignature();
    }
    QCOMPARE(signatures, (QList<QByteArray>{"onInfoFinished()", "onHttpOneFinished()", "onHttpFinished()",
                                            "onCrashFinished()", "onOneFile()", "onUploadLogs()"}));
}

void TestKxUploadMeta::hasNoPropertiesEnumsOrConstructors()
{
    const QMetaObject &meta = KxUpload::staticMetaObject;
    QCOMPARE(meta.propertyCount(), meta.propertyOffset());
    QCOMPARE(meta.enumeratorCount(), meta.enumeratorOffset());
    QCOMPARE(meta.classInfoCount(), meta.classInfoOffset());
    QCOMPARE(meta.constructorCount(), 0);
}

void TestKxUploadMeta::startsEmpty()
{
    uploadini::write("[system]\nnickname=ann\n[room]\n7=lobby\n[log1]\npath=/a\n[http_1]\npath=/b\n");
    const TestUploader uploader;
    for (const QString &field :
         {uploader.systemPath, uploader.sdkPath, uploader.httpPath, uploader.userId, uploader.loginName,
          uploader.nickname, uploader.infoPath, uploader.nameSpace, uploader.crashPath, uploader.version})
        QVERIFY(field.isEmpty());
    QVERIFY(uploader.roomMap.isEmpty());
    QVERIFY(uploader.logFiles.isEmpty());
    QVERIFY(uploader.fileGroups.isEmpty());
    QVERIFY(uploader.httpGroups.isEmpty());
}

void TestKxUploadMeta::belongsToItsParent()
{
    QPointer<KxUpload> uploader;
    {
        QObject parent;
        uploader = new KxUpload(&parent);
        QCOMPARE(uploader->parent(), &parent);
    }
    QVERIFY(uploader.isNull());
}

void TestKxUploadMeta::opensItsSettingsBesideTheProgram()
{
    const TestUploader uploader;
    QCOMPARE(uploader.settings->fileName(),
             QCoreApplication::applicationDirPath() + QStringLiteral("/config/upload.ini"));
    QCOMPARE(uploader.settings->format(), QSettings::IniFormat);
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
    QVERIFY(uploader.settings->iniCodec() != nullptr);
    QCOMPARE(uploader.settings->iniCodec()->name(), QByteArray("UTF-8"));
#endif
}

void TestKxUploadMeta::leavesItsSettingsBehind()
{
    QPointer<QSettings> settings;
    {
        const TestUploader uploader;
        settings = uploader.settings;
        QVERIFY(settings->parent() == nullptr);
    }
    QVERIFY(!settings.isNull());
}

void TestKxUploadMeta::remembersTheCrashPath()
{
    TestUploader uploader;
    const MessageCatcher messages;
    uploader.setCrashPath(QStringLiteral("/a/d\u00FCmp.dmp"));
    QCOMPARE(uploader.crashPath, QStringLiteral("/a/d\u00FCmp.dmp"));
    QCOMPARE(messages.messages().size(), 1);
    QCOMPARE(messages.messages().first().text, QStringLiteral("\"/a/d\u00FCmp.dmp\""));
    QVERIFY(messages.messages().first().function.startsWith("void KxUpload::setCrashPath(const QString"));
}

void TestKxUploadMeta::makesManagersOfItsOwn()
{
    QPointer<QNetworkAccessManager> first;
    {
        TestUploader uploader;
        first = uploader.getManager();
        const QNetworkAccessManager *second = uploader.getManager();
        QVERIFY(first != second);
        QCOMPARE(first->parent(), &uploader);
        QCOMPARE(second->parent(), &uploader);
    }
    QVERIFY(first.isNull());
}

void TestKxUploadMeta::deletesAReplyAndItsManagerLater()
{
    TestUploader uploader;
    const QPointer<QNetworkAccessManager> manager = uploader.getManager();
    const QPointer<QNetworkReply> reply = manager->get(QNetworkRequest(QUrl(QStringLiteral("data:,text"))));
    uploader.deleteReply(reply);
    QVERIFY(!manager.isNull());
    QVERIFY(!reply.isNull());
    QTRY_VERIFY(manager.isNull() && reply.isNull());
}

void TestKxUploadMeta::ignoresASenderThatIsNoReply_data()
{
    addSlotRows();
}

void TestKxUploadMeta::ignoresASenderThatIsNoReply()
{
    QFETCH(const QByteArray, slot);
    const QByteArray content = "[system]\nuserId=42\n[log1]\npath=/missing\n[http_1]\npath=/missing\n";
    uploadini::write(content);
    TestUploader uploader;
    uploader.initIni();
    Sender sender;
    sender.setProperty("group", QStringLiteral("log1"));
    QVERIFY(connect(&sender, SIGNAL(finished()), &uploader, ('1' + slot).constData()));
    const MessageCatcher messages;
    emit sender.finished();
    QCoreApplication::processEvents();
    QCOMPARE(messages.texts(), QStringList());
    QCOMPARE(uploader.fileGroups, QList<QString>{QStringLiteral("log1")});
    QCOMPARE(uploader.httpGroups, QList<QString>{QStringLiteral("http_1")});
    QVERIFY(uploader.children().isEmpty());
    QCOMPARE(readFile(uploadini::path()), content);
}

void TestKxUploadMeta::ignoresACallWithoutSender_data()
{
    addSlotRows();
}

void TestKxUploadMeta::ignoresACallWithoutSender()
{
    QFETCH(QByteArray, slot);
    uploadini::write("[log1]\npath=/missing\n");
    TestUploader uploader;
    uploader.initIni();
    const MessageCatcher messages;
    slot.chop(2);
    QVERIFY(QMetaObject::invokeMethod(&uploader, slot.constData()));
    QCOMPARE(messages.texts(), QStringList());
    QVERIFY(uploader.children().isEmpty());
    QCOMPARE(uploader.fileGroups, QList<QString>{QStringLiteral("log1")});
}

QTEST_GUILESS_MAIN(TestKxUploadMeta)
#include "tst_kxupload_meta.moc"
