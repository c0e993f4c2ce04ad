#pragma once

#include "store/uploadkeys.h"
#include "store/uploadtable.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <list>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

/// Which uploads are wanted. What is empty or absent leaves nothing out.
///
/// \a user, \a room and \a text are words: each of them has to be there, in letters of either case, with or without
/// accents, also as part of a word.
struct UploadQuery
{
    std::string user;  ///< in nickname, login name and id
    std::string room;  ///< in ids and names of the rooms
    std::string text;  ///< in any of the fields, the documents and the upload's own id
    std::string kind;  ///< exactly
    std::string since; ///< first second, as IndexedUpload::time
    std::string until; ///< last second, likewise
    std::size_t limit = 50;
    std::optional<UploadId> before; ///< only older ones
    std::optional<UploadId> after;  ///< only newer ones, the nearest; not together with \a before
    std::size_t days = 0;           ///< for how many days UploadMatches::days is wanted
};

/// How many uploads of a kind came on a day.
struct DayCount
{
    std::string day; ///< UTC, as "2016-05-01"
    std::string kind;
    std::uint64_t count = 0;
};

/// One page of what matches, and what is known of all that do at the same time.
struct UploadMatches
{
    std::vector<IndexedUpload> uploads; ///< newest first
    std::uint64_t total = 0;            ///< without UploadQuery::before, after and limit
    std::uint64_t newerCount = 0;       ///< of them, those newer than the first one here
    std::optional<UploadId> older;      ///< UploadQuery::before of the next page; absent: there is nothing older
    std::optional<UploadId> newer;      ///< UploadQuery::after of the page before; absent: there is nothing newer
    std::uint64_t storedCount = 0;      ///< of all uploads, matching or not
    std::vector<DayCount> days;         ///< the last days on which any came, oldest first, no counts of 0
};

/// Knows all uploads below a folder without reading their folders again. May be used by several threads at once.
///
/// It is kept in the folder as .index.sqlite. The folders are what counts: the index is made anew when it is missing,
/// of another version or damaged, and uploads that came or went while nobody looked are taken in or out at the start.
/// All operations may throw StoreError.
class UploadIndex
{
public:
    /// \a folder has to be an absolute path without links that only this process writes to.
    explicit UploadIndex(std::filesystem::path folder);
    ~UploadIndex();

    UploadIndex(const UploadIndex &) = delete;
    UploadIndex &operator=(const UploadIndex &) = delete;

    UploadMatches find(const UploadQuery &query);
    std::optional<IndexedUpload> find(const UploadId &id);

    /// Takes in an upload whose folder is there; \a fields are those of its record.
    void add(const IndexedUpload &upload, const nlohmann::json &fields);
    void remove(const UploadId &id);

private:
    /// The result of an earlier search, as far as uploads had come by then.
    struct Search
    {
        SearchWords words;
        std::vector<bool> isFound; ///< by the number of the row, up to the last one
    };

    /// Calls \a action, which uses the table; once more with a new table when this one turns out to be damaged.
    template<typename Action>
    auto withTable(Action action);
    template<typename Enter>
    void wait(Enter enter);

    /// Reads the keys, and takes in and out what came and went meanwhile.
    void load();
    void makeAnew();
    /// Writes what has come and gone since the last time; when that fails for now, what is there already has to do.
    void catchUp();
    void addRows(std::vector<UploadTable::Row> rows);
    const std::vector<bool> &search(const SearchWords &words);
    /// The places of what matches.
    std::vector<std::size_t> hits(const UploadQuery &query);
    std::vector<DayCount> countsByDay(const std::vector<std::size_t> &places, std::size_t days) const;

    const std::filesystem::path folder_;

    std::mutex mutex_; ///< for all that follows, up to the other one
    std::optional<UploadTable> table_;
    bool isStale_ = false; ///< it does not have what was to be written, or the following does not agree
    UploadKeys keys_;
    std::int64_t lastSeq_ = 0;
    std::list<Search> searches_; ///< the last one first

    std::mutex waitingMutex_; ///< may be taken within the first one
    std::vector<UploadTable::Row> addedWaiting_;
    std::vector<UploadId> removedWaiting_;
};
