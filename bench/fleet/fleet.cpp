#include "fleet/fleet.h"

#include "fleet/starts.h"

#include <algorithm>
#include <cmath>
#include <deque>
#include <queue>
#include <random>
#include <vector>

namespace {

constexpr double kPauseSeconds = 0.5;
constexpr double kWatchdogSeconds = 300;
constexpr double kOutageBegin = kDaySeconds + 9 * 3600.0;

struct Machine
{
    std::uint32_t listed = 0;
    std::uint32_t old : 31; ///< of the listed ones, those from the time of the outage; they are sent first
    std::uint32_t isRunning : 1;
};

enum class Stage : std::uint8_t { FirstPause, Files, SecondPause, OwnLog, Hung, Over };

struct Run
{
    double start;
    double fromProgress; ///< when the files, or the own log, were begun
    double fromAccepted;
    std::uint32_t machine;
    std::uint32_t files; ///< listed at the start: what comes later is for the next run
    Stage stage;
};

/// When a run has something to do, in seconds or in progress, and the number of the run.
using Entry = std::pair<double, std::uint64_t>;

class Simulation
{
public:
    explicit Simulation(const FleetPlan &plan)
        : plan_(plan), fileSeconds_(alone(plan.fileBytes)), ownLogSeconds_(alone(plan.ownLogBytes)),
          outageEnd_(kOutageBegin + plan.outageHours * 3600), random_(plan.seed),
          machines_(plan.machines, Machine{0, 0, 0})
    {
        double sum = 0;
        for (double count = 0, share = std::exp(-plan.filesPerStart); sum < 1 - 1e-12 && count < 1000; ++count) {
            sum += share;
            fewerFiles_.push_back(sum);
            share *= plan.filesPerStart / (count + 1);
        }
    }

    FleetResult run()
    {
        const double end = plan_.days * kDaySeconds;
        // A day behind the outage is looked at in any case.
        while (now_ < end && !(now_ > outageEnd_ + kDaySeconds && oldLeft_ == 0))
            step();
        result_.requests += secondsRequests_;
        for (const Machine &machine : machines_)
            result_.leftFiles += machine.listed;
        return result_;
    }

private:
    enum class Event { Start, NewDay, FirstPause, Files, SecondPause, OwnLog, Watchdog, OutageBegin, OutageEnd };

    /// Seconds that a request takes when the service has nothing else to do.
    double alone(double bytes) const { return 3 * plan_.roundTripSeconds + bytes / plan_.uplinkBytesPerSecond; }
    double chance() { return std::uniform_real_distribution<double>(0, 1)(random_); }
    Run &runOf(std::uint64_t number) { return runs_[number - firstRun_]; }
    bool isIn(std::uint64_t number, Stage stage) { return number >= firstRun_ && runOf(number).stage == stage; }
    /// When progress_ will have come to \a progress, at the speed of now.
    double whenAt(double progress) const { return now_ + std::max(0.0, progress - progress_) / speed_; }

    void step();
    void advanceTo(double time);
    void changeUploads(int files, int ownLogs);
    void startNext();
    void beginUploads(std::uint64_t number);
    void beginOwnLog(std::uint64_t number);
    void settleFiles(Run &run, bool isComplete);
    void endOwnLog(std::uint64_t number);
    void endRun(Run &run);
    void abandonRequest(Run &run);
    void endWithoutOwnLog(Run &run);
    void cutOldest();
    void meetOutage(Run &run);
    void beginOutage();
    void endOutage();
    void noteDrained();

    const FleetPlan plan_;
    const double fileSeconds_;
    const double ownLogSeconds_;
    const double outageEnd_;
    std::mt19937_64 random_;
    std::vector<double> fewerFiles_; ///< chances that a start lists at most 0, 1, 2 ... files
    std::vector<Machine> machines_;
    FleetResult result_;

    double now_ = 0;
    double fullSecond_ = 1; ///< end of the second whose requests are counted
    double secondsRequests_ = 0;
    double secondsBytes_ = 0;

    std::uint32_t day_ = 0; ///< counted from 1
    DayOfStarts starts_;

    std::deque<Run> runs_;         ///< by start; the first one, which the watchdog will come for next, is not over
    std::uint64_t firstRun_ = 0;   ///< number of the first one in runs_
    std::uint64_t nextUpload_ = 0; ///< number of the first one in its first pause
    std::priority_queue<Entry, std::vector<Entry>, std::greater<>> filesEnd_; ///< by progress
    std::deque<Entry> secondPauseEnd_;                                        ///< by time
    std::deque<Entry> ownLogEnd_;                                             ///< by progress

    // All uploads go on at the same share of the speed that each would have alone. So one number tells for all of them
    // how far they are: the seconds that each has come forward, had it begun at the beginning of time.
    double progress_ = 0;
    double accepted_ = 0; ///< the same without the share that was refused
    double speed_ = 1;
    double acceptedShare_ = 1;
    std::uint64_t filesInFlight_ = 0;
    std::uint64_t ownLogsInFlight_ = 0;
    double requestRate_ = 0;
    double byteRate_ = 0;

    bool isOut_ = false;
    bool isBack_ = false;
    std::uint64_t oldLeft_ = 0;
};

void Simulation::step()
{
    while (!runs_.empty() && runs_.front().stage == Stage::Over) {
        runs_.pop_front();
        ++firstRun_;
    }
    Event event = Event::NewDay;
    double time = day_ * kDaySeconds;
    const auto consider = [&](Event candidate, double at) {
        if (at < time) {
            event = candidate;
            time = at;
        }
    };
    if (!starts_.isOver())
        consider(Event::Start, (day_ - 1) * kDaySeconds + starts_.nextSecond());
    if (!isOut_ && !isBack_)
        consider(plan_.outageHours > 0 ? Event::OutageBegin : Event::OutageEnd, kOutageBegin);
    if (isOut_)
        consider(Event::OutageEnd, outageEnd_);
    if (!runs_.empty())
        consider(Event::Watchdog, runs_.front().start + kWatchdogSeconds);
    if (nextUpload_ < firstRun_ + runs_.size())
        consider(Event::FirstPause, runOf(nextUpload_).start + kPauseSeconds);
    if (!secondPauseEnd_.empty())
        consider(Event::SecondPause, secondPauseEnd_.front().first);
    if (!filesEnd_.empty())
        consider(Event::Files, whenAt(filesEnd_.top().first));
    if (!ownLogEnd_.empty())
        consider(Event::OwnLog, whenAt(ownLogEnd_.front().first));

    advanceTo(time);
    switch (event) {
    case Event::NewDay:
        ++day_;
        return starts_.draw(plan_.machines, plan_.startsPerDay, random_);
    case Event::Start:
        return startNext();
    case Event::FirstPause:
        return beginUploads(nextUpload_++);
    case Event::Files: {
        const std::uint64_t number = filesEnd_.top().second;
        filesEnd_.pop();
        if (isIn(number, Stage::Files)) {
            settleFiles(runOf(number), true);
            runOf(number).stage = Stage::SecondPause;
            secondPauseEnd_.emplace_back(now_ + kPauseSeconds, number);
        }
        return;
    }
    case Event::SecondPause:
        beginOwnLog(secondPauseEnd_.front().second);
        return secondPauseEnd_.pop_front();
    case Event::OwnLog:
        endOwnLog(ownLogEnd_.front().second);
        return ownLogEnd_.pop_front();
    case Event::Watchdog:
        return cutOldest();
    case Event::OutageBegin:
        return beginOutage();
    case Event::OutageEnd:
        return endOutage();
    }
}

void Simulation::advanceTo(double time)
{
    while (now_ < time) {
        const double stop = std::min(time, fullSecond_);
        const double seconds = stop - now_;
        progress_ += seconds * speed_;
        accepted_ += seconds * speed_ * acceptedShare_;
        secondsRequests_ += seconds * requestRate_;
        secondsBytes_ += seconds * byteRate_;
        now_ = stop;
        if (stop < fullSecond_)
            return;
        result_.requests += secondsRequests_;
        if (now_ <= kDaySeconds) {
            result_.meanRate += secondsRequests_ / kDaySeconds;
            result_.peakRate = std::max(result_.peakRate, secondsRequests_);
        }
        if (isBack_) {
            result_.peakRateAfter = std::max(result_.peakRateAfter, secondsRequests_);
            result_.peakBytesAfter = std::max(result_.peakBytesAfter, secondsBytes_);
        }
        secondsRequests_ = 0;
        secondsBytes_ = 0;
        ++fullSecond_;
    }
}

void Simulation::changeUploads(int files, int ownLogs)
{
    filesInFlight_ += std::uint64_t(files);
    ownLogsInFlight_ += std::uint64_t(ownLogs);
    const double fileRate = double(filesInFlight_) / fileSeconds_;
    const double ownLogRate = double(ownLogsInFlight_) / ownLogSeconds_;
    requestRate_ = fileRate + ownLogRate;
    byteRate_ = fileRate * plan_.fileBytes + ownLogRate * plan_.ownLogBytes;
    speed_ = byteRate_ > plan_.bytesPerSecond ? plan_.bytesPerSecond / byteRate_ : 1;
    const double wanted = requestRate_ * speed_;
    const double share = wanted > plan_.requestsPerSecond ? plan_.requestsPerSecond / wanted : 1;
    if (plan_.refuses)
        acceptedShare_ = share;
    else
        speed_ *= share;
    requestRate_ *= speed_;
    byteRate_ *= speed_;
    if (isBack_)
        result_.mostUploads = std::max(result_.mostUploads, filesInFlight_ + ownLogsInFlight_);
}

void Simulation::startNext()
{
    const std::uint32_t index = starts_.take();
    Machine &machine = machines_[index];
    const auto files = std::upper_bound(fewerFiles_.begin(), fewerFiles_.end(), chance()) - fewerFiles_.begin();
    machine.listed += std::uint32_t(files);
    result_.listedFiles += std::uint64_t(files);
    // A client that is started twice is not in this model.
    if (machine.isRunning)
        return;
    machine.isRunning = 1;
    ++result_.runs;
    runs_.push_back({now_, 0, 0, index, machine.listed, Stage::FirstPause});
}

void Simulation::beginUploads(std::uint64_t number)
{
    Run &run = runOf(number);
    if (isOut_)
        return meetOutage(run);
    run.stage = Stage::Files;
    run.fromProgress = progress_;
    run.fromAccepted = accepted_;
    changeUploads(1, 0);
    filesEnd_.emplace(progress_ + run.files * fileSeconds_, number);
}

/// Takes what was accepted off the list. The run is at its last file, or \a isComplete is false and it is somewhere
/// else.
void Simulation::settleFiles(Run &run, bool isComplete)
{
    changeUploads(-1, 0);
    const double done = isComplete ? run.files : std::floor((progress_ - run.fromProgress) / fileSeconds_ + 1e-9);
    double accepted = std::min(done, double(run.files));
    if (plan_.refuses)
        accepted = std::min(accepted, std::floor((accepted_ - run.fromAccepted) / fileSeconds_ + chance()));
    Machine &machine = machines_[run.machine];
    double old = std::min(accepted, double(machine.old));
    // What is refused is as often old as new.
    if (plan_.refuses && run.files > 0)
        old = std::min(old, std::floor(accepted * machine.old / run.files + chance()));
    const auto count = std::uint32_t(accepted);
    machine.listed -= count;
    machine.old -= std::uint32_t(old) & 0x7fffffffU;
    oldLeft_ -= std::uint32_t(old);
    result_.acceptedFiles += count;
    if (isBack_)
        noteDrained();
}

void Simulation::beginOwnLog(std::uint64_t number)
{
    if (!isIn(number, Stage::SecondPause))
        return;
    Run &run = runOf(number);
    if (isOut_)
        return meetOutage(run);
    run.stage = Stage::OwnLog;
    changeUploads(0, 1);
    ownLogEnd_.emplace_back(progress_ + ownLogSeconds_, number);
}

void Simulation::endOwnLog(std::uint64_t number)
{
    if (!isIn(number, Stage::OwnLog))
        return;
    ++(chance() < acceptedShare_ ? result_.ownLogs : result_.lostOwnLogs);
    changeUploads(0, -1);
    endRun(runOf(number));
}

void Simulation::endRun(Run &run)
{
    run.stage = Stage::Over;
    machines_[run.machine].isRunning = 0;
    result_.runSeconds += now_ - run.start;
}

/// What is in flight is lost; of an own log, for good.
void Simulation::abandonRequest(Run &run)
{
    if (run.stage == Stage::Files)
        settleFiles(run, false);
    if (run.stage == Stage::OwnLog)
        changeUploads(0, -1);
}

void Simulation::meetOutage(Run &run)
{
    abandonRequest(run);
    run.stage = Stage::Hung;
    if (!plan_.isSilent)
        endWithoutOwnLog(run);
}

void Simulation::endWithoutOwnLog(Run &run)
{
    ++result_.lostOwnLogs;
    endRun(run);
}

void Simulation::cutOldest()
{
    abandonRequest(runs_.front());
    ++result_.cutRuns;
    endWithoutOwnLog(runs_.front());
}

void Simulation::beginOutage()
{
    isOut_ = true;
    for (Run &run : runs_) {
        if (run.stage == Stage::Files || run.stage == Stage::OwnLog)
            meetOutage(run);
    }
}

void Simulation::endOutage()
{
    isOut_ = false;
    isBack_ = true;
    for (Machine &machine : machines_) {
        machine.old = machine.listed & 0x7fffffffU;
        oldLeft_ += machine.listed;
    }
    result_.backlog = oldLeft_;
    noteDrained();
}

void Simulation::noteDrained()
{
    const double hours = (now_ - outageEnd_) / 3600;
    if (result_.nearlyDrainedHours < 0 && oldLeft_ <= result_.backlog / 100)
        result_.nearlyDrainedHours = hours;
    if (result_.drainedHours < 0 && oldLeft_ == 0)
        result_.drainedHours = hours;
}

} // namespace

FleetResult simulateFleet(const FleetPlan &plan)
{
    return Simulation(plan).run();
}
