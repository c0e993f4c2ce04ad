#include "store/uploadkeys.h"

#include <QtTest/QtTest>

#include <ctime>

namespace {

UploadId id(int number)
{
    return *makeUploadId(std::uint64_t(number), "logfile");
}

/// The processor time that taking out \a count of as many and one more takes.
double secondsToErase(int count)
{
    UploadKeys keys;
    std::vector<UploadId> gone;
    for (int i = 1; i <= count; ++i) {
        keys.insert(id(i), i, "2024-05-01T09:30:00Z");
        gone.push_back(id(i));
    }
    keys.insert(id(count + 1), count + 1, "2024-05-01T09:30:00Z");
    const auto begin = std::clock();
    keys.erase(gone);
    const auto end = std::clock();
    return keys.size() == 1 ? double(end - begin) / CLOCKS_PER_SEC : -1;
}

} // namespace

class TestUploadKeys : public QObject
{
    Q_OBJECT

private slots:
    void erasesWhatIsThere();
    void erasesManyInTimeThatGrowsWithThem();
};

void TestUploadKeys::erasesWhatIsThere()
{
    UploadKeys keys;
    for (int i = 1; i <= 5; ++i)
        keys.insert(id(i), 10 + i, "2024-05-01T09:30:00Z");
    const auto seqs = keys.erase({id(4), id(2), id(9), id(4), *makeUploadId(3, "crash")});
    QCOMPARE(seqs, std::vector<std::int64_t>({14, 12}));
    QCOMPARE(int(keys.size()), 3);
    for (int i : {1, 3, 5})
        QVERIFY(keys.isAt(keys.placeOf(id(i)), id(i)));
    QVERIFY(!keys.isAt(keys.placeOf(id(2)), id(2)));
    QCOMPARE(int(keys.seq(1)), 13);
}

/// By their square, eight times as many take 64 times as long.
void TestUploadKeys::erasesManyInTimeThatGrowsWithThem()
{
    constexpr int kFew = 20000;
    const double few = secondsToErase(kFew);
    const double many = secondsToErase(8 * kFew);
    QVERIFY(few > 0 && many > 0);
    QVERIFY2(many < 24 * few, QByteArray::number(many / few).constData());
}

QTEST_GUILESS_MAIN(TestUploadKeys)
#include "tst_uploadkeys.moc"
