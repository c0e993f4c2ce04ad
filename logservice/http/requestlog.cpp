#include "http/requestlog.h"

#include "text/quotedtext.h"
#include "text/timestamp.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

#include <cerrno>

#include <unistd.h>

namespace {

// Far more than come while a reader is busy; a line has a few hundred bytes.
constexpr std::size_t kMaxWaitingLines = 2000;
constexpr std::chrono::milliseconds kEndPatience(500);

std::string lineOf(const std::string &text)
{
    return localTime() + " " + text + "\n";
}

/// Writes all of \a text unless that fails: there is nobody to tell.
void writeAll(int descriptor, std::string_view text)
{
    while (!text.empty()) {
        const auto written = ::write(descriptor, text.data(), text.size());
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return;
        text.remove_prefix(static_cast<std::size_t>(written));
    }
}

} // namespace

struct RequestLog::Queue
{
    explicit Queue(int descriptorToUse) : descriptor(descriptorToUse) {}

    /// Writes what comes until the log ends.
    void run();

    const int descriptor;
    std::mutex mutex;
    std::condition_variable changed;
    std::string lines; ///< those that wait
    std::size_t count = 0;
    std::size_t missed = 0; ///< lines that came behind them and found no room
    bool isEnding = false;
};

void RequestLog::Queue::run()
{
    std::unique_lock<std::mutex> lock(mutex);
    for (;;) {
        changed.wait(lock, [this] { return count > 0 || isEnding; });
        if (count == 0)
            return;
        auto text = std::move(lines);
        if (missed > 0)
            text += lineOf("- " + std::to_string(missed) + " lines are missing here: they were not read in time");
        lines.clear();
        count = 0;
        missed = 0;
        lock.unlock();
        writeAll(descriptor, text);
        lock.lock();
    }
}

RequestLog::RequestLog(int descriptor) : queue_(std::make_shared<Queue>(descriptor))
{
    std::packaged_task<void()> writer([queue = queue_]() noexcept { queue->run(); });
    ended_ = writer.get_future();
    std::thread(std::move(writer)).detach();
}

RequestLog::~RequestLog()
{
    end();
}

void RequestLog::write(const std::string &line)
{
    const auto whole = lineOf(line);
    const std::lock_guard<std::mutex> guard(queue_->mutex);
    if (queue_->count == kMaxWaitingLines) {
        ++queue_->missed;
        return;
    }
    queue_->lines += whole;
    ++queue_->count;
    queue_->changed.notify_all();
}

void RequestLog::writeStray(const httplib::Request &request, const Refusal &refusal)
{
    write("- " + quotedText(request.method + " " + request.path) + " " + refusalText(refusal));
}

void RequestLog::end()
{
    {
        const std::lock_guard<std::mutex> guard(queue_->mutex);
        queue_->isEnding = true;
    }
    queue_->changed.notify_all();
    ended_.wait_for(kEndPatience);
}

std::string refusalText(const Refusal &refusal)
{
    return "refused with " + std::to_string(refusal.status) + ": " + refusal.what();
}
