#pragma once

#include "store/uploadid.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

/// The ids of all uploads, oldest first, with what decides whether one is wanted. A place is a number from 0 on that
/// the next change makes invalid.
class UploadKeys
{
public:
    /// Returns \a time, as IndexedUpload::time, as a number that sorts as times do; 0 when it is unknown.
    static std::int64_t timeNumber(const std::string &time);
    /// Returns the day of such a number, likewise as a number.
    static std::int64_t dayNumber(std::int64_t timeNumber) { return timeNumber / 1000000; }
    /// Returns such a day as DayCount::day.
    static std::string dayText(std::int64_t dayNumber);

    std::size_t size() const { return keys_.size(); }
    UploadId id(std::size_t place) const;
    /// All kinds that there are, and the one at a place as a number of theirs.
    const std::vector<std::string> &kinds() const { return kinds_; }
    std::size_t kindNumber(std::size_t place) const { return keys_[place].kind; }
    std::int64_t time(std::size_t place) const { return keys_[place].time; }
    /// Number of the row in the table, from 1 on.
    std::int64_t seq(std::size_t place) const { return keys_[place].seq; }

    /// The first place whose upload is not older than \a id.
    std::size_t placeOf(const UploadId &id) const;
    bool isAt(std::size_t place, const UploadId &id) const;

    /// Does nothing when \a id is there.
    void insert(const UploadId &id, std::int64_t seq, const std::string &time);
    /// Takes out those of \a ids that are there, and returns the numbers of their rows.
    std::vector<std::int64_t> erase(const std::vector<UploadId> &ids);
    void clear() { keys_.clear(); }

private:
    struct Key
    {
        std::uint64_t number;
        std::int64_t seq;
        std::int64_t time;
        std::size_t digits; ///< of the id, with zeros in front
        std::size_t kind;
    };

    std::vector<Key> keys_;
    std::vector<std::string> kinds_;
};
