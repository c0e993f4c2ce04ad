#pragma once

#include <cstdint>
#include <limits>

/// The machines that send logs, what they send, and the service that receives it.
///
/// Every machine is started \c startsPerDay times a day, at times that follow the hours of an office, all in one time
/// zone. Each start lists new files and is one run: half a second of pause, the listed files one after another, half a
/// second, the own log. Each request has a connection of its own.
struct FleetPlan
{
    std::uint64_t machines = 1000000;
    int startsPerDay = 2;
    double filesPerStart = 5;             ///< mean of a Poisson distribution
    double fileBytes = 200e3;             ///< of a request with a file, its form and head included
    double ownLogBytes = 5e3;             ///< the same for the own log
    double roundTripSeconds = 0.05;       ///< a request takes three: TCP, TLS, the request itself
    double uplinkBytesPerSecond = 1.25e6; ///< of one machine
    /// What the service takes in a second from all machines together.
    double requestsPerSecond = std::numeric_limits<double>::infinity();
    double bytesPerSecond = std::numeric_limits<double>::infinity();
    /// Whether the service answers 503 to requests beyond requestsPerSecond, after it has read them; else they wait.
    bool refuses = false;
    double outageHours = 0; ///< from 9:00 of the second day on
    /// Whether it takes connections in the outage and answers nothing, so that each run hangs until it is cut; else it
    /// refuses them, and a run is over at once.
    bool isSilent = false;
    int days = 14; ///< at most; it ends earlier when all that was listed in the outage has arrived
    std::uint64_t seed = 1;
};

/// What became of it. A "request" is one that reached the service, whether or not it came to its end.
struct FleetResult
{
    std::uint64_t runs = 0;
    std::uint64_t cutRuns = 0; ///< ended by the watchdog
    std::uint64_t listedFiles = 0;
    std::uint64_t acceptedFiles = 0;
    std::uint64_t leftFiles = 0;   ///< on the lists at the end
    std::uint64_t backlog = 0;     ///< files on the lists at the end of the outage
    std::uint64_t ownLogs = 0;     ///< accepted ones
    std::uint64_t lostOwnLogs = 0; ///< no run sends those of an earlier one
    double requests = 0;
    double runSeconds = 0;         ///< of all runs together
    double meanRate = 0;           ///< requests/s of the first day
    double peakRate = 0;           ///< requests in the busiest second of the first day
    double peakRateAfter = 0;      ///< in the busiest second behind the outage
    double peakBytesAfter = 0;     ///< bytes in a second, the same
    std::uint64_t mostUploads = 0; ///< at the same time, each on its connection, behind the outage
    double nearlyDrainedHours =
        -1;                   ///< from the end of the outage until 99 % of its backlog have arrived; negative: not yet
    double drainedHours = -1; ///< the same for all of it
};

/// Simulates every run of every machine, without samples. Uploads that go on at the same time share what the service
/// takes: all are slowed down alike. The same plan gives the same result.
FleetResult simulateFleet(const FleetPlan &plan);
