#include "fuzztargets.h"
#include "support/process/messagecatcher.h"

#include <QDir>
#include <QFile>
#include <QTest>

/// What the fuzzers start from and what they have found, once more, in an ordinary build. A promise that does not hold
/// ends the process.
class TestFuzzCorpus : public QObject
{
    Q_OBJECT

private slots:
    void survives_data()
    {
        QTest::addColumn<int>("target");
        QTest::addColumn<QString>("path");
        const QList<FuzzTarget> targets = fuzzTargets();
        for (int i = 0; i < targets.size(); ++i) {
            const QDir corpus(QStringLiteral(KX_FUZZ_CORPUS "/") + QLatin1String(targets.at(i).name));
            const QStringList names = corpus.entryList(QDir::Files, QDir::Name);
            QVERIFY2(!names.isEmpty(), qPrintable(corpus.path()));
            for (const QString &name : names)
                QTest::addRow("%s/%s", targets.at(i).name, qPrintable(name)) << i << corpus.filePath(name);
        }
    }
    void survives()
    {
        QFETCH(const int, target);
        QFETCH(const QString, path);
        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadOnly));
        const MessageCatcher messages;
        fuzzTargets().at(target).run(file.readAll());
    }
};

int main(int argc, char *argv[])
{
    // As the fuzzers run: a stamp in the hour that daylight saving leaves out is none to Qt.
    qputenv("TZ", "UTC");
    const QCoreApplication application(argc, argv);
    TestFuzzCorpus test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_fuzzcorpus.moc"
