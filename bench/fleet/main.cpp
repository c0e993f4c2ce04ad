// Simulates fleets and prints a row for each, as a table in Markdown.

#include "fleet/fleet.h"
#include "fleet/starts.h"

#include <cstdio>
#include <cstdlib>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

constexpr char kHelp[] = R"(Usage: kxfleet [OPTION VALUE]...
Simulates machines that send their logs to one service for some days, an outage in between, and prints a table.
A list of values with commas stands for one row each, of all combinations.

  --machines N    (default 10000,1000000,10000000)
  --outage HOURS  from 9:00 of the second day on (default 0,1,8,24)
  --capacity R    requests/s that the service takes; 2x is twice what comes on average; inf is no limit (default inf)
  --bandwidth B   bytes/s that it takes (default inf)
  --overload HOW  what it does with requests beyond R: wait, or refuse (answers 503) (default wait)
  --silent 1      it takes connections in the outage and answers nothing (default 0: refuses connections)
  --starts N      starts of a machine in a day (default 2)
  --files N       new files for each start, on average (default 5)
  --bytes N       of a request with a file (default 200000)
  --uplink N      bytes/s that a machine sends (default 1250000)
  --seed N        another one for other days (default 1)
)";

std::vector<std::string> valuesOf(const std::string &list)
{
    std::vector<std::string> values;
    std::istringstream stream(list);
    for (std::string value; std::getline(stream, value, ',');)
        values.push_back(value);
    return values;
}

double numberOf(const std::string &text)
{
    char *end = nullptr;
    const double number = std::strtod(text.c_str(), &end);
    if (text.empty() || *end != '\0' || !(number >= 0))
        throw std::invalid_argument("'" + text + "' is no number of 0 or more");
    return number;
}

/// "2x" is twice the mean of what \a plan sends.
double capacityOf(const std::string &text, const FleetPlan &plan)
{
    if (text.empty() || text.back() != 'x')
        return numberOf(text);
    const double requests = double(plan.machines) * plan.startsPerDay * (plan.filesPerStart + 1);
    return numberOf(text.substr(0, text.size() - 1)) * requests / kDaySeconds;
}

std::string drainedText(double hours)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.1f h", hours);
    return hours < 0 ? "never" : text;
}

void printRow(const FleetPlan &plan, const std::string &capacity, const FleetResult &result)
{
    std::printf("| %.0f | %.0f h | %s | %.1f | %.0f | %.0f | %.1f | %llu | %.1f s | %llu | %.2f | %s | %s |\n",
                double(plan.machines), plan.outageHours, capacity.c_str(), result.meanRate, result.peakRate,
                result.peakRateAfter, result.peakBytesAfter / 1e6, static_cast<unsigned long long>(result.mostUploads),
                result.runs > 0 ? result.runSeconds / double(result.runs) : 0,
                static_cast<unsigned long long>(result.cutRuns),
                plan.machines > 0 ? double(result.backlog) / double(plan.machines) : 0,
                plan.outageHours > 0 ? drainedText(result.nearlyDrainedHours).c_str() : "",
                plan.outageHours > 0 ? drainedText(result.drainedHours).c_str() : "");
    std::fflush(stdout);
}

void simulateAll(std::map<std::string, std::string> options)
{
    std::printf(
        "| machines | outage | capacity | requests/s, mean | peak second | peak second behind the outage | MB/s there "
        "| most uploads at once | mean run | runs cut | backlog, files a machine | 99 %% of it gone after | all |\n"
        "|---:|---:|---:|---:|---:|---:|---:|---:|---:|---:|---:|---:|---:|\n");
    for (const std::string &machines : valuesOf(options["--machines"]))
        for (const std::string &outage : valuesOf(options["--outage"]))
            for (const std::string &capacity : valuesOf(options["--capacity"])) {
                FleetPlan plan;
                plan.machines = std::uint64_t(numberOf(machines));
                plan.outageHours = numberOf(outage);
                plan.startsPerDay = int(numberOf(options["--starts"]));
                plan.filesPerStart = numberOf(options["--files"]);
                plan.fileBytes = numberOf(options["--bytes"]);
                plan.uplinkBytesPerSecond = numberOf(options["--uplink"]);
                plan.requestsPerSecond = capacityOf(capacity, plan);
                plan.bytesPerSecond = numberOf(options["--bandwidth"]);
                plan.refuses = options["--overload"] == "refuse";
                plan.isSilent = numberOf(options["--silent"]) != 0;
                plan.seed = std::uint64_t(numberOf(options["--seed"]));
                printRow(plan, capacity, simulateFleet(plan));
            }
}

} // namespace

int main(int argc, char **argv)
{
    std::map<std::string, std::string> options = {{"--machines", "10000,1000000,10000000"},
                                                  {"--outage", "0,1,8,24"},
                                                  {"--capacity", "inf"},
                                                  {"--bandwidth", "inf"},
                                                  {"--overload", "wait"},
                                                  {"--silent", "0"},
                                                  {"--starts", "2"},
                                                  {"--files", "5"},
                                                  {"--bytes", "200000"},
                                                  {"--uplink", "1250000"},
                                                  {"--seed", "1"}};
    for (int i = 1; i < argc; i += 2) {
        const std::string name = argv[i];
        if (name == "--help" || name == "-h") {
            std::fputs(kHelp, stdout);
            return 0;
        }
        const auto option = options.find(name);
        if (option == options.end() || i + 1 == argc) {
            std::fprintf(stderr, "kxfleet: %s, see --help\n",
                         option == options.end() ? ("unknown argument '" + name + "'").c_str()
                                                 : (name + " needs a value").c_str());
            return 2;
        }
        option->second = argv[i + 1];
    }
    try {
        simulateAll(options);
    } catch (const std::exception &error) {
        std::fprintf(stderr, "kxfleet: %s\n", error.what());
        return 2;
    }
    return 0;
}
