#include "damage.h"
#include "inicheck.h"
#include "support/files/fileio.h"

#include <QDateTime>
#include <QDir>
#include <QLine>
#include <QLocale>
#include <QRect>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>
#include <QUrl>
#include <QUuid>

namespace {

QByteArray writtenBySettings(const QVariant &value)
{
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("a.ini"));
    QSettings settings(path, QSettings::IniFormat);
    settings.setIniCodec("UTF-8");
    settings.setValue(QStringLiteral("log1/room"), value);
    settings.sync();
    return readFile(path);
}

QVariant readBySettings(const QByteArray &ini)
{
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("a.ini"));
    writeFile(path, ini);
    QSettings settings(path, QSettings::IniFormat);
    settings.setIniCodec("UTF-8");
    return settings.value(QStringLiteral("log1/room"));
}

} // namespace

class TestIniCheck : public QObject
{
    Q_OBJECT

private slots:
    void keepsWhatSettingsWrite_data()
    {
        QTest::addColumn<QVariant>("value");
        const QVariantMap rooms{{QStringLiteral("12"), QStringLiteral("Blue, \"green\"; 会議室 \n")},
                                {QStringLiteral("9"), 7},
                                {QStringLiteral("x"), QVariant()}};
        QTest::newRow("rooms") << QVariant(rooms);
        QTest::newRow("no rooms") << QVariant(QVariantMap());
        QTest::newRow("rooms in rooms") << QVariant(QVariantMap{{QStringLiteral("a"), rooms}});
        QTest::newRow("many rooms") << [] {
            QVariantMap many;
            for (int i = 0; i < 1000; ++i)
                many.insert(QString::number(i), QString(i, QChar(0xe4)));
            return QVariant(many);
        }();
        QTest::newRow("times in a map") << QVariant(
            QVariantMap{{QStringLiteral("local"), QDateTime::currentDateTime()},
                        {QStringLiteral("UTC"), QDateTime::currentDateTimeUtc()},
                        {QStringLiteral("offset"), QDateTime(QDate(2024, 2, 29), QTime(), Qt::OffsetFromUTC, 60)}});
        QTest::newRow("hash") << QVariant(QVariantHash{{QStringLiteral("a"), 1.5}});
        QTest::newRow("list") << QVariant(QVariantList{QStringList{QStringLiteral("a"), QString()}, true, 1.5f, 'c',
                                                       QByteArray("\0x", 2), qint64(1), quint64(2), QChar(0x20ac)});
        QTest::newRow("plain values") << QVariant(
            QVariantList{QRect(1, 2, 3, 4), QRectF(1, 2, 3, 4), QLine(1, 2, 3, 4), QSizeF(1, 2),
                         QUrl(QStringLiteral("http://a/")), QLocale(QLocale::German), QUuid::createUuid(),
                         QDate(2024, 2, 29), QTime(1, 2), QVariant::fromValue(short(1))});
        QTest::newRow("local time") << QVariant(QDateTime::currentDateTime());
        QTest::newRow("UTC") << QVariant(QDateTime::currentDateTimeUtc());
        QTest::newRow("time with offset") << QVariant(QDateTime(QDate(2024, 2, 29), QTime(), Qt::OffsetFromUTC, 3600));
        QTest::newRow("text with an at sign") << QVariant(QStringLiteral("@Variant(\1\2)"));
    }
    void keepsWhatSettingsWrite()
    {
        QFETCH(const QVariant, value);
        const QByteArray ini = writtenBySettings(value);
        QVERIFY(ini.contains('@'));
        QCOMPARE(withoutHarmfulValues(ini), ini);
    }

    void keepsWhatQtSurvives_data()
    {
        QTest::addColumn<QByteArray>("ini");
        QTest::newRow("nothing") << QByteArray();
        QTest::newRow("addresses") << QByteArray("[log1]\nmail=ann@example.org\npath=@\n[a@b]\n@=@@");
        QTest::newRow("broken map") << QByteArray("[log1]\nroom=@Variant(\\0\\0\\0\\b\\xff\\xff)\n");
        QTest::newRow("cut off") << QByteArray("[log1]\nroom=@Variant(\\0\\0\\0\\b\\0\\0\\0\\x1\\0\\0");
        QTest::newRow("text that is too long") << QByteArray("[log1]\nroom=@Variant(\\0\\0\\0\\n\\x7f\\0\\0\\0x)\n");
        QTest::newRow("a colour") << QByteArray("[log1]\nroom=@Variant(\\0\\0\\0\\x43\\x1\\xff\\xff\\0\\0)\n");
        QTest::newRow("a type of the client")
            << QByteArray("[log1]\nroom=@Variant(\\0\\0\\0\\x7f\\0\\0\\0\\x4Own\\0)\n");
    }
    void keepsWhatQtSurvives()
    {
        QFETCH(const QByteArray, ini);
        QCOMPARE(withoutHarmfulValues(ini), ini);
        readBySettings(ini);
    }

    void turnsHarmfulValuesIntoText_data()
    {
        QTest::addColumn<QByteArray>("value"); ///< "%" stands before the place that is changed
        const QByteArray huge = "\\0\\0\\0\\t\\x7f\\xff\\xff\\xff)";
        QTest::newRow("huge list") << "%" + hugeList();
        QTest::newRow("huge list in a map")
            << QByteArray("%@Variant(\\0\\0\\0\\b\\0\\0\\0\\x1\\0\\0\\0\\x2\\0k" + huge);
        QTest::newRow("deep lists") << "%" + nestedLists(1000);
        QTest::newRow("time without its zone") << "%" + timeWithoutZone();
        QTest::newRow("no time at all") << QByteArray("%@DateTime(\\0\\0\\0\\t\\0\\x7f\\xff\\xff\\xff)");
        QTest::newRow("list by its name")
            << QByteArray("%@Variant(\\0\\0\\0\\x7f\\0\\0\\0\\rQVariantList\\0\\x7f\\xff\\xff\\xff)");
        QTest::newRow("unknown type inside") << QByteArray("%@Variant(\\0\\0\\0\\t\\0\\0\\0\\x1\\0\\0\\0\\x43\\x1)");
        QTest::newRow("in quotes") << "\"%" + hugeList() + "\"";
        QTest::newRow("quoted in the middle") << "%@\"Variant(" + huge + "\"";
        QTest::newRow("in a list") << "one, two,%" + hugeList();
        QTest::newRow("at sign in hex") << "%\\x40Variant(" + huge;
        QTest::newRow("capital hex") << "%@V\\x61ria\\x6Et(" + huge;
        QTest::newRow("small hex") << "%@Varia\\x6et(" + huge;
        QTest::newRow("at sign in octal") << "%\\100Variant(" + huge;
        QTest::newRow("in two lines") << "\\\n%@Vari\\\r\nant(" + huge;
        QTest::newRow("raw bytes") << "%" + QByteArray("@Variant(\0\0\0\t\x7f", 14) + "\xc3\xbf\xc3\xbf\xc3\xbf)";
    }
    void turnsHarmfulValuesIntoText()
    {
        QFETCH(const QByteArray, value);
        const QByteArray begin = "[system]\nnickname=\"Zo\xc3\xab, @\"\n[log1]\nroom=";
        const QByteArray end = "\npath=/a\n[log2]\npath=/b\n";
        const QByteArray harmless = withoutHarmfulValues(begin + QByteArray(value).replace("%", "") + end);
        QCOMPARE(harmless, begin + QByteArray(value).replace("%", "@") + end);
        QCOMPARE(withoutHarmfulValues(harmless), harmless);
        const QStringList texts = readBySettings(harmless).toStringList();
        QVERIFY(!texts.isEmpty());
        QVERIFY2(texts.last().startsWith(QLatin1String("@Variant(")) || texts.last().startsWith(QLatin1String("@Date")),
                 qPrintable(texts.last()));
    }

    void changesTheFileOnlyWhenItMust()
    {
        const QTemporaryDir folder;
        const QString path = folder.filePath(QStringLiteral("upload.ini"));
        QVERIFY(takeHarmfulValuesOut(path));
        QVERIFY(QDir(folder.path()).isEmpty());

        const QByteArray sound = "; comment\r\n[log1]\nroom=@Variant(\\0\\0\\0\\b\\0\\0\\0\\0)\n";
        QVERIFY(writeFile(path, sound));
        QVERIFY(takeHarmfulValuesOut(path));
        QCOMPARE(readFile(path), sound);

        QVERIFY(writeFile(path, sound + "a=" + hugeList()));
        QVERIFY(takeHarmfulValuesOut(path));
        QCOMPARE(readFile(path), sound + "a=@" + hugeList());
        QCOMPARE(QDir(folder.path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
                 QStringList{QStringLiteral("upload.ini")});
    }

    void saysWhenTheFileStaysAsItIs()
    {
        const QTemporaryDir folder;
        const QString path = folder.filePath(QStringLiteral("upload.ini"));
        const QByteArray ini = "[log1]\na=" + hugeList();
        QVERIFY(writeFile(path, ini));
        // Nobody can take a lock in whose place there is a folder.
        QVERIFY(QDir().mkpath(path + QStringLiteral(".lock")));
        QVERIFY(!takeHarmfulValuesOut(path));
        QCOMPARE(readFile(path), ini);
    }

    void isQuickWithManySigns()
    {
        QElapsedTimer timer;
        timer.start();
        const QByteArray signs =
            "[log1]\na=" + QByteArray(1000000, '@') + QByteArrayLiteral("@Variant\\").repeated(100000);
        QCOMPARE(withoutHarmfulValues(signs), signs);
        QVERIFY2(timer.elapsed() < 20000, qPrintable(QString::number(timer.elapsed())));
    }
};

QTEST_GUILESS_MAIN(TestIniCheck)
#include "tst_inicheck.moc"
