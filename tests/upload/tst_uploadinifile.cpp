#include "support/files/fileio.h"
#include "support/files/noise.h"
#include "support/process/messagecatcher.h"
#include "support/uploader/testuploader.h"
#include "support/uploader/uploadini.h"

#include <QSettings>
#include <QTest>

namespace {

QByteArray manyGroups(int count)
{
    QByteArray text;
    for (int i = 0; i < count; ++i)
        text += "[m" + QByteArray::number(i) + "]\npath=/logs/" + QByteArray::number(i) + ".log\nsdk=1\n";
    return text;
}

QByteArray allBytes()
{
    QByteArray bytes;
    for (int i = 0; i < 256; ++i)
        bytes += static_cast<char>(i);
    return bytes;
}

/// Neither brackets nor slashes: settings objects drop a slash at the end of a key.
QByteArray harmlessNoise(int size)
{
    return noise(size).replace('[', '(').replace('/', '|');
}

} // namespace

/// What happens to upload.ini when a group is forgotten.
class TestUploadIniFile : public QObject
{
    Q_OBJECT

private slots:
    void cleanup() { uploadini::remove(); }

    void forgetsAGroupAtOnce();
    void forgetsAGroupWithNestedKeys();
    void writesNothingForAGroupThatIsNotThere();
    void keepsWhatAnotherProcessAddedMeanwhile();
    void keepsTheOthersOfANamelessGroup();
    void forgettingOneGroupLosesNoOther_data();
    void forgettingOneGroupLosesNoOther();
};

void TestUploadIniFile::forgetsAGroupAtOnce()
{
    uploadini::write("[system]\nnickname=ann\nunused=x\n[room]\n7=lobby\n[log1]\npath=/a\nsdk=1\n[log2]\npath=/b\n"
                     "[log11]\npath=/c\n[http_1]\npath=/d\n[chatroom]\npath=/e\n");
    QVariantMap expected = uploadini::values();
    TestUploader uploader;
    uploader.finishedOneFile(QStringLiteral("log1"));
    expected.remove(QStringLiteral("log1/path"));
    expected.remove(QStringLiteral("log1/sdk"));
    QCOMPARE(uploadini::values(), expected);
    QVERIFY(!readFile(uploadini::path()).contains("[log1]"));
    QCOMPARE(uploader.settings->group(), QString());
}

void TestUploadIniFile::forgetsAGroupWithNestedKeys()
{
    uploadini::write("[log1]\npath=/a\nsub\\key=1\n[log2]\npath=/b\n");
    TestUploader uploader;
    uploader.finishedOneFile(QStringLiteral("log1"));
    QCOMPARE(uploadini::values(), (QVariantMap{{QStringLiteral("log2/path"), QStringLiteral("/b")}}));
}

void TestUploadIniFile::writesNothingForAGroupThatIsNotThere()
{
    const QByteArray content = "; a comment\n[log2]\npath=/b\n";
    uploadini::write(content);
    TestUploader uploader;
    uploader.finishedOneFile(QStringLiteral("log1"));
    QCOMPARE(readFile(uploadini::path()), content);
}

void TestUploadIniFile::keepsWhatAnotherProcessAddedMeanwhile()
{
    uploadini::write("[system]\nnickname=ann\n[log1]\npath=/a\n");
    TestUploader uploader;
    uploadini::append("[log2]\npath=/b\n");
    uploader.finishedOneFile(QStringLiteral("log1"));
    QCOMPARE(uploadini::values(), (QVariantMap{{QStringLiteral("system/nickname"), QStringLiteral("ann")},
                                               {QStringLiteral("log2/path"), QStringLiteral("/b")}}));
}

void TestUploadIniFile::keepsTheOthersOfANamelessGroup()
{
    // The nameless group itself comes back without its brackets: settings objects cannot write such a group.
    uploadini::write("[log1]\npath=/a\n[]\nkey=1\n[log2]\npath=/b\n");
    TestUploader uploader;
    uploader.finishedOneFile(QStringLiteral("log1"));
    QCOMPARE(uploadini::groups().filter(QStringLiteral("log")), QStringList{QStringLiteral("log2")});
    QCOMPARE(uploadini::values().value(QStringLiteral("log2/path")), QVariant(QStringLiteral("/b")));
}

void TestUploadIniFile::forgettingOneGroupLosesNoOther_data()
{
    QTest::addColumn<QByteArray>("damage"); ///< between one intact group and another
    QTest::addColumn<bool>("hidesTheRest"); ///< what follows is part of a value: the damage opens a quote
    const QByteArray none;
    QTest::newRow("nothing") << none << false;
    QTest::newRow("empty lines") << QByteArray("\n\n\r\n") << false;
    QTest::newRow("comments") << QByteArray("; one\n# two\n") << false;
    QTest::newRow("words") << QByteArray("neither key nor group\n") << false;
    QTest::newRow("equals sign only") << QByteArray("=\n") << false;
    QTest::newRow("value without key") << QByteArray("=value\n") << false;
    QTest::newRow("key without value") << QByteArray("[mid]\nkey=\n") << false;
    QTest::newRow("group without keys") << QByteArray("[empty]\n") << false;
    QTest::newRow("unfinished group") << QByteArray("[mid\nkey=1\n") << false;
    QTest::newRow("group twice") << QByteArray("[mid]\na=1\n[other]\nx=1\n[mid]\nb=2\n") << false;
    QTest::newRow("key twice") << QByteArray("[mid]\na=1\na=2\n") << false;
    QTest::newRow("spaces around") << QByteArray("  [ mid ]  \n  a = 1  \n") << false;
    QTest::newRow("nested groups") << QByteArray("[mid/inner]\na=1\n[mid]\ninner2\\b=2\n") << false;
    QTest::newRow("backslash in the group") << QByteArray("[mid\\inner]\na=1\n") << false;
    QTest::newRow("percent signs in the group") << QByteArray("[m%zz%u12%]\na=1\n[100%]\nb=1\n") << false;
    QTest::newRow("percent signs in the key") << QByteArray("[mid]\n%zz%=1\n%U12=2\n") << false;
    QTest::newRow("unfinished quotes") << QByteArray("[mid]\na=\"open\n") << true;
    QTest::newRow("unfinished escape") << QByteArray("[mid]\na=\\x\nb=\\\n") << false;
    QTest::newRow("broken map") << QByteArray("[mid]\nroom=@Variant(\\0\\0\\0\\b\\xff\\xff)\npath=/m\n") << false;
    QTest::newRow("unfinished map") << QByteArray("[mid]\nroom=@Variant(\npath=/m\n") << false;
    QTest::newRow("invalid value") << QByteArray("[mid]\na=@Invalid()\nb=1\n") << false;
    QTest::newRow("odd at signs") << QByteArray("[mid]\na=@\nb=@@x\nc=@Unknown(1)\n") << false;
    QTest::newRow("comma lists") << QByteArray("[mid]\npath=/a,/b\nroom=,\n") << false;
    QTest::newRow("UTF-8") << QByteArray("[gr\xC3\xBC\xC3\x9F"
                                         "e]\npath=/\xE4\xB8\xAD\n")
                           << false;
    QTest::newRow("broken UTF-8") << QByteArray("[mid]\npath=/\xff\xfe\xc3\n[\xff\xfe]\na=1\n") << false;
    QTest::newRow("NUL bytes") << QByteArrayLiteral("[mid]\na=1\0b=2\n\0\0\n") << false;
    QTest::newRow("every byte") << "[mid]\nkey=" + allBytes() + '\n' << true;
    QTest::newRow("every byte as lines") << allBytes() + '\n' << true;
    QTest::newRow("carriage returns") << QByteArray("[mid]\ra=1\r[more]\rb=2\r") << false;
    QTest::newRow("64 KiB of noise") << "[mid]\n" + harmlessNoise(65536) + '\n' << false;
    QTest::newRow("1 MB in one line") << "[mid]\npath=" + QByteArray(1000000, 'x') + '\n' << false;
    QTest::newRow("1 MB group name") << "[" + QByteArray(1000000, 'g') + "]\na=1\n" << false;
    QTest::newRow("20,000 groups") << manyGroups(20000) << false;
}

void TestUploadIniFile::forgettingOneGroupLosesNoOther()
{
    QFETCH(const QByteArray, damage);
    QFETCH(const bool, hidesTheRest);
    const QByteArray first = "[system]\nnickname=ann\n[aaa_done]\npath=/a\nsdk=1\n[bbb_kept]\npath=/b\n";
    const QByteArray last = "\n[zzz_kept]\npath=/z\n[http_kept]\npath=/h\n[room]\n7=lobby\n";
    uploadini::write(first + damage + last);
    QVariantMap expected = uploadini::values();
    QVERIFY(expected.contains(QStringLiteral("aaa_done/path")));
    QVERIFY(expected.contains(QStringLiteral("bbb_kept/path")));
    QCOMPARE(expected.contains(QStringLiteral("zzz_kept/path")), !hidesTheRest);

    const MessageCatcher messages;
    TestUploader before;
    before.initIni();
    QVERIFY(before.fileGroups.removeOne(QStringLiteral("aaa_done")));
    before.finishedOneFile(QStringLiteral("aaa_done"));

    expected.remove(QStringLiteral("aaa_done/path"));
    expected.remove(QStringLiteral("aaa_done/sdk"));
    QCOMPARE(uploadini::values().keys(), expected.keys());
    const QVariantMap actual = uploadini::values();
    for (auto entry = expected.cbegin(); entry != expected.cend(); ++entry) {
        // Bytes that are no text do not come through as values.
        if (!entry.key().startsWith(QLatin1String("mid/")))
            QCOMPARE(actual.value(entry.key()), entry.value());
    }
    TestUploader after;
    after.initIni();
    QCOMPARE(after.fileGroups, before.fileGroups);
    QCOMPARE(after.httpGroups, before.httpGroups);
    QCOMPARE(after.roomMap, before.roomMap);
    QCOMPARE(after.nickname, before.nickname);
}

QTEST_GUILESS_MAIN(TestUploadIniFile)
#include "tst_uploadinifile.moc"
