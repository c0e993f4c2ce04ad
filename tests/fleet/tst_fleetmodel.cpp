#include "fleet/fleet.h"

#include <QTest>

#include <cmath>
#include <cstring>

namespace {

constexpr double kDaySeconds = 86400;
constexpr double kPauses = 1;

FleetPlan planOf(std::uint64_t machines)
{
    FleetPlan plan;
    plan.machines = machines;
    return plan;
}

double secondsAlone(const FleetPlan &plan, double bytes)
{
    return 3 * plan.roundTripSeconds + bytes / plan.uplinkBytesPerSecond;
}

/// Whether \a value is \a expected but for the given share of it.
bool isNear(double value, double expected, double tolerance = 1e-6)
{
    if (std::abs(value - expected) <= tolerance * std::abs(expected))
        return true;
    qWarning("%.9g instead of %.9g", value, expected);
    return false;
}

} // namespace

/// The simulated fleet where its figures can be told without a simulation.
class TestFleetModel : public QObject
{
    Q_OBJECT

private slots:
    void losesNoFile_data()
    {
        QTest::addColumn<double>("capacity");
        QTest::addColumn<double>("bandwidth");
        QTest::addColumn<double>("outageHours");
        QTest::addColumn<bool>("isSilent");
        QTest::addColumn<bool>("refuses");
        constexpr double kNone = std::numeric_limits<double>::infinity();
        QTest::newRow("no limit, no outage") << kNone << kNone << 0.0 << false << false;
        QTest::newRow("outage that refuses") << kNone << kNone << 8.0 << false << false;
        QTest::newRow("outage without answers") << kNone << kNone << 8.0 << true << false;
        QTest::newRow("requests wait") << 0.3 << kNone << 8.0 << false << false;
        QTest::newRow("requests wait after silence") << 0.3 << kNone << 8.0 << true << false;
        QTest::newRow("requests are refused") << 0.3 << kNone << 8.0 << false << true;
        QTest::newRow("narrow line") << kNone << 30e3 << 8.0 << false << false;
        QTest::newRow("narrow line, refused") << 0.3 << 30e3 << 8.0 << true << true;
    }
    void losesNoFile()
    {
        QFETCH(double, capacity);
        QFETCH(double, bandwidth);
        QFETCH(double, outageHours);
        QFETCH(bool, isSilent);
        QFETCH(bool, refuses);
        FleetPlan plan = planOf(1000);
        plan.requestsPerSecond = capacity;
        plan.bytesPerSecond = bandwidth;
        plan.outageHours = outageHours;
        plan.isSilent = isSilent;
        plan.refuses = refuses;
        const FleetResult result = simulateFleet(plan);
        QVERIFY(result.acceptedFiles > 0);
        QCOMPARE(result.acceptedFiles + result.leftFiles, result.listedFiles);
        // An own log comes with each run, or is lost with it; the last ones may still be on their way.
        QVERIFY(result.ownLogs + result.lostOwnLogs <= result.runs);
        QVERIFY(result.ownLogs + result.lostOwnLogs + 1000 > result.runs);
        // What came in to its end came in.
        QVERIFY(result.requests + 1e-6 >= double(result.acceptedFiles + result.ownLogs));
        QVERIFY(result.peakRateAfter <= capacity * (1 + 1e-9) || refuses);
        QVERIFY(result.peakBytesAfter <= bandwidth * (1 + 1e-9));
    }

    void ofNobodySendsNothing()
    {
        const FleetResult result = simulateFleet(planOf(0));
        QCOMPARE(result.runs, std::uint64_t(0));
        QCOMPARE(result.requests, 0.0);
        QCOMPARE(result.drainedHours, 0.0);
    }

    void ofOneTakesAsLongAsItsRequests()
    {
        FleetPlan plan = planOf(1);
        plan.outageHours = 1;
        const FleetResult result = simulateFleet(plan);
        QCOMPARE(result.cutRuns, std::uint64_t(0));
        QVERIFY(result.mostUploads <= 1);
        QVERIFY(isNear(result.requests, double(result.acceptedFiles + result.ownLogs)));
        // A run that meets closed doors ends with its first pause.
        QVERIFY(isNear(result.runSeconds, double(result.ownLogs) * kPauses + double(result.lostOwnLogs) * kPauses / 2 +
                                              double(result.acceptedFiles) * secondsAlone(plan, plan.fileBytes) +
                                              double(result.ownLogs) * secondsAlone(plan, plan.ownLogBytes)));
    }

    void ofOneWaitsForASlowService()
    {
        FleetPlan plan = planOf(1);
        plan.requestsPerSecond = 0.5;
        const FleetResult result = simulateFleet(plan);
        QVERIFY(isNear(result.requests, double(result.acceptedFiles + result.ownLogs)));
        QVERIFY(isNear(result.runSeconds, double(result.ownLogs) * kPauses + result.requests / plan.requestsPerSecond));
    }

    void ofOneIsCutAfterFiveMinutes()
    {
        FleetPlan plan = planOf(1);
        plan.requestsPerSecond = 1 / 100.0;
        plan.filesPerStart = 50; // never fewer than the two that fit into a run
        const FleetResult result = simulateFleet(plan);
        QVERIFY(result.runs > 0);
        QCOMPARE(result.cutRuns, result.runs);
        QCOMPARE(result.acceptedFiles, 2 * result.runs);
        QCOMPARE(result.ownLogs, std::uint64_t(0));
        QVERIFY(isNear(result.runSeconds, 300 * double(result.runs)));
        QVERIFY(isNear(result.requests, 2.995 * double(result.runs)));
        QVERIFY(result.drainedHours < 0);
    }

    void isServedInEqualParts()
    {
        // So many at once, and for so long, that the service is busy all day.
        FleetPlan plan = planOf(30000);
        plan.requestsPerSecond = 0.05;
        plan.days = 1;
        const FleetResult result = simulateFleet(plan);
        QVERIFY(isNear(result.peakRate, plan.requestsPerSecond, 1e-9));
        QVERIFY(isNear(result.requests, plan.requestsPerSecond * kDaySeconds, 0.02));
        // With more than 15 at a time, and at night there are 36, nobody gets a file through in its five minutes.
        QVERIFY(double(result.acceptedFiles) < 0.01 * result.requests);
    }

    void sendsWhatItLists()
    {
        FleetPlan plan = planOf(20000);
        const FleetResult result = simulateFleet(plan);
        const double starts = double(plan.machines) * plan.startsPerDay;
        QVERIFY(isNear(result.meanRate * kDaySeconds, starts * (plan.filesPerStart + 1), 0.01));
        // The busiest hour has 16 of 140 starts; the busiest second has some more.
        const double busiest = starts * (plan.filesPerStart + 1) * 16 / 140 / 3600;
        QVERIFY(result.peakRate > busiest && result.peakRate < 5 * busiest);
        QCOMPARE(result.cutRuns, std::uint64_t(0));
    }

    void cutsEachRunThatGetsNoAnswer()
    {
        FleetPlan plan = planOf(2000);
        plan.outageHours = 2;
        plan.isSilent = true;
        const FleetResult result = simulateFleet(plan);
        QCOMPARE(result.cutRuns, result.lostOwnLogs);
        // Two of the hours with the most starts, on the second day.
        QVERIFY(isNear(double(result.cutRuns), 2.0 * 2000 * (15 + 10) / 140, 0.15));
        plan.isSilent = false;
        QCOMPARE(simulateFleet(plan).cutRuns, std::uint64_t(0));
    }

    void isDrainedByTheNextStarts()
    {
        FleetPlan plan = planOf(2000);
        plan.outageHours = 24;
        const FleetResult result = simulateFleet(plan);
        // What a day lists, but for what was sent before: nothing.
        QVERIFY(isNear(double(result.backlog), 2000.0 * plan.startsPerDay * plan.filesPerStart, 0.05));
        QVERIFY(result.nearlyDrainedHours > 0 && result.nearlyDrainedHours < result.drainedHours);
        // Every machine starts on the next day.
        QVERIFY(result.drainedHours < 15 + 24);
    }

    void isTheSameForTheSameSeed()
    {
        FleetPlan plan = planOf(500);
        plan.outageHours = 8;
        plan.requestsPerSecond = 0.3;
        const auto text = [&] {
            const FleetResult result = simulateFleet(plan);
            return QStringLiteral("%1 %2 %3 %4")
                .arg(result.runSeconds, 0, 'g', 17)
                .arg(result.requests, 0, 'g', 17)
                .arg(result.acceptedFiles)
                .arg(result.drainedHours, 0, 'g', 17);
        };
        const QString first = text();
        QCOMPARE(text(), first);
        ++plan.seed;
        QVERIFY(text() != first);
    }
};

QTEST_GUILESS_MAIN(TestFleetModel)
#include "tst_fleetmodel.moc"
