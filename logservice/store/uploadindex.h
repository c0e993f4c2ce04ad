#pragma once

#include "store/indexedupload.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
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
};

/// One page of what matches.
struct UploadMatches
{
    std::vector<IndexedUpload> uploads; ///< newest first
    std::uint64_t total = 0;            ///< without UploadQuery::before, after and limit
    std::uint64_t newerCount = 0;       ///< of them, those newer than the first one here
    std::optional<UploadId> older;      ///< UploadQuery::before of the next page; absent: there is nothing older
    std::optional<UploadId> newer;      ///< UploadQuery::after of the page before; absent: there is nothing newer
};

/// How many uploads of a kind came on a day.
struct DayCount
{
    std::string day; ///< UTC, as "2016-05-01"
    std::string kind;
    std::uint64_t count = 0;
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
    explicit UploadIndex(const std::filesystem::path &folder);
    ~UploadIndex();

    UploadIndex(const UploadIndex &) = delete;
    UploadIndex &operator=(const UploadIndex &) = delete;

    UploadMatches find(const UploadQuery &query) const;
    std::optional<IndexedUpload> find(const UploadId &id) const;
    std::uint64_t storedCount() const;

    /// Returns the counts of what \a query matches, without its limit and neighbours, for the last \a days days on
    /// which anything matches; oldest first, no entries of 0.
    std::vector<DayCount> countsByDay(const UploadQuery &query, std::size_t days) const;

    /// Takes in an upload whose folder is there; \a fields are those of its record.
    void add(const IndexedUpload &upload, const nlohmann::json &fields);
    void remove(const UploadId &id);

private:
    class Impl;
    const std::unique_ptr<Impl> impl_;
};
