#include "page/logreader.h"
#include "storedscene.h"

#include <QtTest/QtTest>

Q_DECLARE_METATYPE(Level)

namespace {

constexpr int kPieceBytes = 64 * 1024;

/// A record as the logging module writes it; \a level with its brackets.
QByteArray record(const QByteArray &text, const QByteArray &level = "[Debug]")
{
    return "[2024-05-01 09:30:00]" + level + "[src/net.cpp][42][void Net::connect()]" + text + "\r\n\n";
}

QByteArray numberedRecords(int count)
{
    QByteArray log;
    for (int i = 0; i < count; ++i)
        log += record("message " + QByteArray::number(i));
    return log;
}

QStringList texts(const LogPage &page)
{
    QStringList list;
    for (const auto &row : page.rows)
        list << QString::fromStdString(row.text);
    return list;
}

QStringList messages(int first, int last)
{
    QStringList list;
    for (int i = first; i <= last; ++i)
        list << QStringLiteral("message %1").arg(i);
    return list;
}

LogQuery from(std::uint64_t offset)
{
    LogQuery query;
    query.from = offset;
    return query;
}

LogQuery before(std::uint64_t offset)
{
    LogQuery query;
    query.before = offset;
    return query;
}

/// -1 where the system does not say.
qint64 bytesReadByThisProcess()
{
    QFile counters(QStringLiteral("/proc/self/io"));
    if (!counters.open(QIODevice::ReadOnly))
        return -1;
    const QByteArray first = counters.readLine();
    return first.startsWith("rchar: ") ? first.mid(7).trimmed().toLongLong() : -1;
}

LogQuery words(const std::vector<std::string> &list)
{
    LogQuery query;
    query.words = list;
    return query;
}

LogLimits rows(std::size_t count)
{
    LogLimits limits;
    limits.maxRows = count;
    return limits;
}

} // namespace

class TestLogReader : public QObject
{
    Q_OBJECT

private slots:
    void readsTheHeadOfARecord_data();
    void readsTheHeadOfARecord();
    void keepsTheLinesOfARecordTogether();
    void showsWhatIsNoLogAsLines();
    void showsWhatStandsInFrontOfTheFirstRecord();
    void readsNothingFromAnEmptyFile();
    void pagesForward();
    void pagesBackward();
    void findsTheRowThatHoldsAByte_data();
    void findsTheRowThatHoldsAByte();
    void filtersByLevel();
    void filtersByWords_data();
    void filtersByWords();
    void filtersBackward();
    void findsTheSameInBothDirections();
    void looksAtSoManyBytesAtOnce();
    void readsABackwardPageOnce();
    void showsSoManyBytesAtOnce();
    void showsLongRowsInPieces();
    void losesNoByteOfAnyFile();
    void opensALargeFileAtOnce();

private:
    LogPage read(const QByteArray &bytes, const LogQuery &query = {}, const LogLimits &limits = {})
    {
        const StoredScene scene;
        scene.write(QStringLiteral("000001-logfile/file.bin"), bytes);
        const auto file = StoredFile::open(scene.folder(), *parseUploadId("000001-logfile"), "file.bin");
        return file ? readLog(*file, query, limits) : LogPage();
    }
};

void TestLogReader::readsTheHeadOfARecord_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<Level>("level");
    QTest::addColumn<QString>("row");
    const auto add = [](const char *name, const QByteArray &bytes, Level level, const char *row) {
        QTest::newRow(name) << bytes << level << QString::fromUtf8(row);
    };
    const QByteArray time = "[2024-05-01 09:30:00]";
    add("debug", record("x"), Level::Debug, "2024-05-01 09:30:00|src/net.cpp:42|void Net::connect()|x");
    add("info", record("x", ""), Level::Info, "2024-05-01 09:30:00|src/net.cpp:42|void Net::connect()|x");
    add("warning", record("", "[Warning]"), Level::Warning, "2024-05-01 09:30:00|src/net.cpp:42|void Net::connect()|");
    add("critical", record("x", "[Critical]"), Level::Critical,
        "2024-05-01 09:30:00|src/net.cpp:42|void Net::connect()|x");
    add("fatal", record("[x]", "[Fatal]"), Level::Fatal, "2024-05-01 09:30:00|src/net.cpp:42|void Net::connect()|[x]");
    add("no place", time + "[][0][]x\r\n\n", Level::Info, "2024-05-01 09:30:00|||x");
    add("brackets in the function", time + "[Debug][a.cpp][7][int &List::operator[](int) [with T = int]]x",
        Level::Debug, "2024-05-01 09:30:00|a.cpp:7|int &List::operator[](int) [with T = int]|x");
    add("cut off in the place", time + "[Debug][a.cpp][7][int", Level::Debug, "2024-05-01 09:30:00|||[a.cpp][7][int");
    add("of another program", time + "[main] started\n", Level::None, "2024-05-01 09:30:00|||[main] started");
    add("no number of a line", time + "[a][b][c]x", Level::None, "2024-05-01 09:30:00|||[a][b][c]x");
    add("unknown level", time + "[Notice][a.cpp][7][f]x", Level::None, "2024-05-01 09:30:00|||[Notice][a.cpp][7][f]x");
    add("no record", "plain text\r\n", Level::None, "|||plain text");
    add("nearly a record", "[2024-05-01 9:30:00][Debug]\n", Level::None, "|||[2024-05-01 9:30:00][Debug]");
    add("nothing", "\n", Level::None, "|||");
}

void TestLogReader::readsTheHeadOfARecord()
{
    QFETCH(QByteArray, bytes);
    const LogRow row = parseRow(bytes.toStdString(), 7);
    QCOMPARE(int(row.offset), 7);
    QTEST(row.level, "level");
    QTEST(QString::fromStdString(row.time + '|' + row.place + '|' + row.function + '|' + row.text), "row");
}

void TestLogReader::keepsTheLinesOfARecordTogether()
{
    const QByteArray first = record("one\ntwo\n\n[three]");
    const LogPage page = read(first + record("four"));
    QVERIFY(page.hasRecords);
    QCOMPARE(texts(page), (QStringList{QStringLiteral("one\ntwo\n\n[three]"), QStringLiteral("four")}));
    QCOMPARE(int(page.rows[1].offset), first.size());
    QCOMPARE(int(page.begin), 0);
    QCOMPARE(int(page.end), (first + record("four")).size());
}

void TestLogReader::showsWhatIsNoLogAsLines()
{
    const LogPage page = read("one\r\n\n two\nno line end");
    QVERIFY(!page.hasRecords);
    QCOMPARE(texts(page),
             (QStringList{QStringLiteral("one"), QString(), QStringLiteral(" two"), QStringLiteral("no line end")}));
    QCOMPARE(int(page.rows[2].offset), 6);
}

void TestLogReader::showsWhatStandsInFrontOfTheFirstRecord()
{
    QCOMPARE(texts(read("a stump\n" + record("x"))), (QStringList{QStringLiteral("a stump"), QStringLiteral("x")}));
}

void TestLogReader::readsNothingFromAnEmptyFile()
{
    for (const LogQuery &query : {from(0), from(7), before(0), before(7)}) {
        const LogPage page = read("", query);
        QVERIFY(page.rows.empty());
        QCOMPARE(int(page.end), 0);
    }
}

void TestLogReader::pagesForward()
{
    const QByteArray log = numberedRecords(7);
    QStringList seen;
    LogPage page;
    for (int size : {3, 3, 1}) {
        page = read(log, from(page.end), rows(3));
        QCOMPARE(int(page.rows.size()), size);
        seen << texts(page);
    }
    QCOMPARE(seen, messages(0, 6));
    QCOMPARE(int(page.end), log.size());
}

void TestLogReader::pagesBackward()
{
    const QByteArray log = numberedRecords(7);
    LogPage page;
    page.begin = std::uint64_t(log.size());
    for (const QStringList &expected : {messages(4, 6), messages(1, 3), messages(0, 0)}) {
        const auto end = page.begin;
        page = read(log, before(end), rows(3));
        QCOMPARE(texts(page), expected);
        QCOMPARE(page.end, end);
        QCOMPARE(page.begin, page.rows.front().offset);
    }
    QCOMPARE(int(page.begin), 0);
}

void TestLogReader::findsTheRowThatHoldsAByte_data()
{
    QTest::addColumn<int>("at");
    QTest::addColumn<QString>("first");
    const int size = record("message 0").size();
    QTest::newRow("beginning of the file") << 0 << "message 0";
    QTest::newRow("within the first") << 5 << "message 0";
    QTest::newRow("last byte of the first") << size - 1 << "message 0";
    QTest::newRow("first byte of the second") << size << "message 1";
    QTest::newRow("within the second") << size + 30 << "message 1";
    QTest::newRow("end of the file") << 3 * size << QString();
    QTest::newRow("behind it") << 4 * size << QString();
}

void TestLogReader::findsTheRowThatHoldsAByte()
{
    QFETCH(int, at);
    const LogPage page = read(numberedRecords(3), from(std::uint64_t(at)));
    QTEST(texts(page).value(0), "first");
}

void TestLogReader::filtersByLevel()
{
    const QByteArray log = record("d") + record("i", "") + record("w", "[Warning]") + record("c", "[Critical]") +
                           record("f", "[Fatal]") + "[2024-05-01 09:30:00][main] n\n";
    const QString all = QStringLiteral("diwcf");
    for (const Level level : {Level::Debug, Level::Info, Level::Warning, Level::Critical, Level::Fatal}) {
        LogQuery query;
        query.level = level;
        QCOMPARE(texts(read(log, query)).join(QString()), all.mid(int(level) - int(Level::Debug)));
    }
    QCOMPARE(int(read(log).rows.size()), 6);
}

void TestLogReader::filtersByWords_data()
{
    QTest::addColumn<QByteArray>("word");
    QTest::addColumn<QByteArray>("second");
    QTest::addColumn<QString>("found");
    QTest::newRow("part") << QByteArray("out") << QByteArray() << "Timeout of Zo\xc3\xab";
    QTest::newRow("other letter case") << QByteArray("timeout") << QByteArray() << "Timeout of Zo\xc3\xab";
    QTest::newRow("without the accent") << QByteArray("of zoe") << QByteArray() << "Timeout of Zo\xc3\xab";
    QTest::newRow("both") << QByteArray("zo") << QByteArray("out") << "Timeout of Zo\xc3\xab";
    QTest::newRow("one missing") << QByteArray("zo") << QByteArray("connected") << QString();
    QTest::newRow("function") << QByteArray("net::connect") << QByteArray("timeout") << "Timeout of Zo\xc3\xab";
    QTest::newRow("no pattern") << QByteArray("t.meout") << QByteArray() << QString();
    QTest::newRow("across records") << QByteArray("second") << QByteArray("timeout") << QString();
}

void TestLogReader::filtersByWords()
{
    QFETCH(QByteArray, word);
    QFETCH(QByteArray, second);
    const QByteArray log = record("first") + record("Timeout of Zo\xc3\xab") + record("second");
    QTEST(texts(read(log, words({word.toStdString(), second.toStdString()}))).join(QLatin1Char('|')), "found");
}

void TestLogReader::filtersBackward()
{
    // More than one window of what is read at a time.
    const QByteArray log =
        record("needle 1") + numberedRecords(5000) + record("needle 2") + numberedRecords(5000) + record("needle 3");
    LogQuery query = words({"needle"});
    query.before = log.size() - record("needle 3").size();
    QCOMPARE(texts(read(log, query)), (QStringList{QStringLiteral("needle 1"), QStringLiteral("needle 2")}));
    const LogPage nearest = read(log, query, rows(1));
    QCOMPARE(texts(nearest), QStringList(QStringLiteral("needle 2")));
    // What lies in front of it in the window needs no other look.
    QVERIFY(nearest.begin < nearest.rows.front().offset);
    query.before = nearest.begin;
    QCOMPARE(texts(read(log, query, rows(1))), QStringList(QStringLiteral("needle 1")));
}

void TestLogReader::findsTheSameInBothDirections()
{
    QByteArray log;
    for (int i = 0; log.size() < 1000000; ++i)
        log += record(QByteArray(i % 400, 'x'));
    // Pages that go beyond what is read at a time.
    LogLimits limits = rows(1500);
    limits.maxShownBytes = quint64(log.size());
    LogQuery query;
    QList<quint64> forward;
    for (query.from = 0; query.from < quint64(log.size());) {
        const LogPage page = read(log, query, limits);
        for (const LogRow &row : page.rows)
            forward << row.offset;
        query.from = page.end;
    }
    QList<quint64> backward;
    for (query.before = log.size(); query.before > 0U;) {
        const LogPage page = read(log, query, limits);
        for (auto row = page.rows.rbegin(); row != page.rows.rend(); ++row)
            backward.prepend(row->offset);
        query.before = page.begin;
    }
    QCOMPARE(forward.size(), log.count("[Debug]"));
    QCOMPARE(backward, forward);
}

void TestLogReader::looksAtSoManyBytesAtOnce()
{
    const QByteArray log = record("needle") + numberedRecords(10000) + record("needle");
    LogLimits limits;
    limits.maxReadBytes = 300000;
    LogQuery query = words({"needle"});
    query.from = 10;
    LogPage page = read(log, query, limits);
    QCOMPARE(int(page.rows.size()), 1);
    QVERIFY(page.end >= limits.maxReadBytes && page.end < limits.maxReadBytes + 200);
    query.from = page.end;
    for (page = read(log, query, limits); page.rows.empty() && page.end > query.from; page = read(log, query, limits))
        query.from = page.end;
    QCOMPARE(int(page.rows.size()), 1);

    query.before = log.size() - 100;
    page = read(log, query, limits);
    QVERIFY(page.rows.empty());
    QVERIFY(page.end - page.begin >= limits.maxReadBytes && page.end - page.begin < 2 * limits.maxReadBytes);
}

/// As the system has counted it.
void TestLogReader::readsABackwardPageOnce()
{
    if (bytesReadByThisProcess() < 0)
        QSKIP("the system does not count what a process reads");
    const StoredScene scene;
    const QByteArray log = numberedRecords(100000);
    QVERIFY(scene.write(QStringLiteral("000001-logfile/file.bin"), log));
    const auto file = StoredFile::open(scene.folder(), *parseUploadId("000001-logfile"), "file.bin");
    QVERIFY(file);
    for (LogQuery query : {from(0), before(file->size())}) {
        query.words = {"no such text"};
        const qint64 begin = bytesReadByThisProcess();
        const LogPage page = readLog(*file, query);
        const qint64 count = bytesReadByThisProcess() - begin;
        QCOMPARE(page.end - page.begin, file->size());
        QVERIFY2(count >= log.size() && count < log.size() * 5 / 4,
                 qPrintable(QStringLiteral("%1 of %2").arg(count).arg(log.size())));
    }
}

void TestLogReader::showsSoManyBytesAtOnce()
{
    LogLimits limits;
    limits.maxShownBytes = 1000;
    const QByteArray log = record(QByteArray(400, 'x')).repeated(20);
    QCOMPARE(int(read(log, {}, limits).rows.size()), 3);
    QCOMPARE(int(read(log, before(std::uint64_t(log.size())), limits).rows.size()), 3);
}

/// And every piece can be linked to.
void TestLogReader::showsLongRowsInPieces()
{
    const QByteArray text = "a" + QByteArray("\xc3\xab").repeated(100000);
    for (const QByteArray &log : {text + "\nnext\n", record(text) + record("next")}) {
        const LogPage page = read(log);
        QCOMPARE(int(page.rows.size()), 5);
        QByteArray joined;
        for (const auto &row : page.rows) {
            QVERIFY(row.text.size() <= kPieceBytes);
            joined += QByteArray::fromStdString(row.text);
            QVERIFY(!QString::fromStdString(row.text).contains(QChar::ReplacementCharacter));
            QCOMPARE(read(log, from(row.offset)).rows.front().offset, row.offset);
        }
        QCOMPARE(joined, text + "next");
    }
}

void TestLogReader::losesNoByteOfAnyFile()
{
    // Every value, many line ends and brackets, and now and then the beginning of a record.
    QByteArray log;
    quint32 state = 7;
    while (log.size() < 400000) {
        state = state * 1664525U + 1013904223U;
        const quint32 choice = (state >> 24U) % 16;
        log += choice < 3    ? QByteArray("\n")
               : choice == 3 ? record("r")
                             : QByteArray(1 + int(choice), char(state >> 16U));
    }
    LogPage page;
    std::uint64_t next = 0;
    for (; next < std::uint64_t(log.size()); next = page.end) {
        page = read(log, from(next));
        QCOMPARE(page.begin, next);
        QVERIFY(page.end > next);
        QCOMPARE(page.rows.front().offset, next);
    }
    QCOMPARE(next, std::uint64_t(log.size()));
    for (; next > 0; next = page.begin) {
        page = read(log, before(next));
        QCOMPARE(page.end, next);
        QVERIFY(page.begin < next);
        QCOMPARE(page.rows.front().offset, page.begin);
    }
}

void TestLogReader::opensALargeFileAtOnce()
{
    constexpr std::uint64_t kBytes = std::uint64_t(2) * 1024 * 1024 * 1024;
    const StoredScene scene;
    const QString name = QStringLiteral("000001-logfile/file.bin");
    QVERIFY(scene.write(name, numberedRecords(1000)));
    QFile log(scene.path(name));
    QVERIFY(log.open(QIODevice::ReadWrite));
    QVERIFY(log.seek(qint64(kBytes)) && log.write("\n" + numberedRecords(1000)) > 0);
    log.close();
    const auto file = StoredFile::open(scene.folder(), *parseUploadId("000001-logfile"), "file.bin");
    QVERIFY(file && file->size() > kBytes);
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(texts(readLog(*file, from(0))).value(199), QStringLiteral("message 199"));
    const qint64 beginningMs = timer.restart();
    QCOMPARE(texts(readLog(*file, from(kBytes + 1))).value(0), QStringLiteral("message 0"));
    QCOMPARE(texts(readLog(*file, before(file->size()))).value(199), QStringLiteral("message 999"));
    const qint64 endMs = timer.restart();
    const LogPage found = readLog(*file, words({"no such text"}));
    const qint64 searchMs = timer.elapsed();
    QVERIFY(found.rows.empty());
    QVERIFY(found.end < kBytes / 16);
    qInfo("of 2 GiB, the beginning takes %lld ms, the end %lld ms, one page of a search %lld ms", beginningMs, endMs,
          searchMs);
    QVERIFY(beginningMs + endMs < 1000 * KX_SLOWDOWN);
    QVERIFY(searchMs < 5000 * KX_SLOWDOWN);
}

QTEST_GUILESS_MAIN(TestLogReader)
#include "tst_logreader.moc"
