// Prints the processor time of what the log service does with its index, for 1000 and 50,000 stored uploads.
// Stands alone: uploadindex FOLDER, which has to be empty or of an earlier run.

#include "store/uploadstore.h"

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <exception>
#include <random>
#include <string>

#include <sys/stat.h>

namespace {

double cpuMs()
{
    timespec time = {};
    ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return double(time.tv_sec) * 1e3 + double(time.tv_nsec) / 1e6;
}

template<typename Action>
double costMs(Action action)
{
    const double begin = cpuMs();
    action();
    return cpuMs() - begin;
}

/// A quarter are reports, the others log files of 5000 users in 1000 rooms.
void storeOne(UploadStore &store, int number, std::mt19937 &random)
{
    const auto any = [&random](unsigned count) { return std::to_string(random() % count); };
    UploadRecord record;
    const auto upload = store.begin();
    if (number % 4 == 0) {
        record.kind = "report";
        record.fields = {{"LogTitle", "kx_error"},
                         {"LogData", "[media.cpp, " + any(400) + ", onTimeout] no route to the server " + any(1000)},
                         {"UserSid", any(5000)},
                         {"RoomId", any(1000)},
                         {"OS", "Linux 5.10 x86_64"},
                         {"Device", R"({"cpu":"eight cores","memory":"16 GB"})"}};
    } else {
        const auto user = "nickname-" + std::string(number % 2 ? "Zo\u00eb" : "\u738b\u5c0f\u660e") + any(5000) +
                          ".loginname-login" + any(5000) + ".userid-" + any(5000) + ".";
        record.kind = "logfile";
        record.fileName = "client-2024-05-" + any(28) + "-" + any(86400) + ".log";
        record.fields = {{"room", user + "roomid-" + any(1000) + ".roomname-Blue " + any(100)}, {"namespace", "demo"}};
    }
    upload->beginFile(record.kind == "report" ? "report.json" : "file.bin");
    upload->write("bytes");
    upload->endFile();
    upload->finish(record);
}

void measure(const std::string &folder, int count)
{
    {
        UploadStore store(folder);
        std::mt19937 random(1);
        for (auto number = int(store.index().find(UploadQuery()).storedCount); number < count; ++number)
            storeOne(store, number, random);
    }
    std::printf("| %d | start | %.0f ms | |\n", count, costMs([&] { UploadStore store(folder); }));
    UploadStore store(folder);
    for (const char *text :
         {"", "zoe", "\u5c0f\u660e", "\u660e", "17", "000017", "demo log", "no route to", "log", "client-2024-05"}) {
        UploadQuery query;
        query.text = text;
        std::uint64_t total = 0;
        const auto find = [&] { total = store.index().find(query).total; };
        const double first = costMs(find);
        double again = first;
        for (int i = 0; i < 20; ++i)
            again = std::min(again, costMs(find));
        std::printf("| %d | \"%s\", %llu found | %.2f ms | %.2f ms |\n", count, text,
                    static_cast<unsigned long long>(total), first, again);
    }
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "Usage: uploadindex FOLDER\n");
        return 2;
    }
    ::umask(0077);
    try {
        std::printf("| stored | what | first | again |\n| --- | --- | --- | --- |\n");
        for (const int count : {1000, 50000})
            measure(std::string(argv[1]) + '/' + std::to_string(count), count);
    } catch (const std::exception &error) {
        std::fprintf(stderr, "uploadindex: %s\n", error.what());
        return 1;
    }
    return 0;
}
