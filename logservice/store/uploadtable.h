#pragma once

#include "store/database.h"
#include "store/indexedupload.h"
#include "store/searchtext.h"

#include <cstdint>
#include <string>
#include <vector>

/// Words that all have to be found.
struct SearchWords
{
    std::string user; ///< folded, as the others
    std::string room;
    std::string any; ///< in one of the texts
};

/// The file of the index: one row for each upload under a number of its own, and the lists of what their texts hold.
/// Used by one thread at a time; every operation may throw DatabaseError.
class UploadTable
{
public:
    struct Row
    {
        std::int64_t seq = 0; ///< never used twice while the table is open
        IndexedUpload upload;
        SearchTexts texts;
    };
    struct Key
    {
        std::int64_t seq = 0;
        std::string id;
        std::string time;
    };

    /// Opens \a file, which is made when it is missing. What another version of this program has made is an error.
    explicit UploadTable(const std::filesystem::path &file);

    /// Whether markComplete() was called for this file.
    bool isComplete();
    void markComplete();

    std::vector<Key> keys();

    /// The uploads of the rows \a seqs, in that order.
    std::vector<IndexedUpload> uploads(const std::vector<std::int64_t> &seqs);

    /// Takes the \a added in and the \a removed out, all or nothing.
    void change(const std::vector<Row> &added, const std::vector<std::int64_t> &removed);

    /// Returns the numbers above \a above of the uploads that hold all \a words, which must not be none.
    std::vector<std::int64_t> find(const SearchWords &words, std::int64_t above);

private:
    void remove(std::int64_t seq);

    Database database_;
};
