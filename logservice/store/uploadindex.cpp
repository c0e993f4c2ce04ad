#include "store/uploadindex.h"

#include "store/database.h"
#include "store/searchtext.h"
#include "store/uploadtable.h"

#include <algorithm>
#include <limits>
#include <list>
#include <map>
#include <mutex>

namespace fs = std::filesystem;

namespace {

constexpr char kFileName[] = ".index.sqlite";

// Rows of one transaction: each of those writes the beginnings of many lists, which is most of what a row costs.
constexpr std::size_t kRowsAtOnce = 100;

// What a reader pages through, and the day before it.
constexpr std::size_t kMaxKeptSearches = 8;

/// The digits of \a time as one number, which sorts as times do; 0 for what has none.
std::int64_t timeNumber(const std::string &time)
{
    constexpr int kDigits = 14;
    std::int64_t number = 0;
    int digits = 0;
    for (const char c : time) {
        if (c >= '0' && c <= '9' && digits++ < kDigits)
            number = number * 10 + (c - '0');
    }
    return number;
}

constexpr std::int64_t kTimesOfADay = 1000000;

std::string dayText(std::int64_t day)
{
    const auto digits = std::to_string(day + 100000000).substr(1);
    return digits.substr(0, 4) + '-' + digits.substr(4, 2) + '-' + digits.substr(6, 2);
}

/// What is needed of every upload to find those on a page.
struct Entry
{
    std::uint64_t number = 0;
    std::int64_t seq = 0;
    std::int64_t time = 0;
    std::size_t digits = 0; ///< of the id, with zeros in front
    std::size_t kind = 0;
};

} // namespace

class UploadIndex::Impl
{
public:
    explicit Impl(const fs::path &folder) : folder_(folder)
    {
        try {
            open();
            if (table_->isComplete()) {
                load();
                return;
            }
        } catch (const DatabaseError &) { // as if there were none
        }
        makeAnew();
    }

    /// Calls \a action, which uses the table; once more with a new table when this one turns out to be damaged.
    template<typename Action>
    auto withTable(Action action)
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        try {
            if (isStale_)
                load();
            takeWaiting();
            return action();
        } catch (const DatabaseError &error) {
            if (!error.isDamage)
                throw;
        }
        makeAnew();
        return action();
    }

    void add(UploadTable::Row row)
    {
        wait([&] { addedWaiting_.push_back(std::move(row)); });
    }
    void remove(const UploadId &id)
    {
        wait([&] { removedWaiting_.push_back(id); });
    }

    /// Numbers of the entries that match, oldest first.
    std::vector<std::size_t> hits(const UploadQuery &query)
    {
        const SearchWords words = {folded(query.user), folded(query.room), folded(query.text)};
        const bool hasWords = !wordsOf(words.user + ' ' + words.room + ' ' + words.any).empty();
        const auto *found = hasWords ? &search(words).isFound : nullptr;
        const bool hasTimes = !query.since.empty() || !query.until.empty();
        const auto since = std::max<std::int64_t>(timeNumber(query.since), hasTimes ? 1 : 0); // 0 is unknown
        const auto until = query.until.empty() ? std::numeric_limits<std::int64_t>::max() : timeNumber(query.until);
        const auto kind = std::find(kinds_.begin(), kinds_.end(), query.kind) - kinds_.begin();
        std::vector<std::size_t> hits;
        hits.reserve(entries_.size());
        for (std::size_t i = 0; i < entries_.size(); ++i) {
            const auto &entry = entries_[i];
            if (entry.time >= since && entry.time <= until &&
                (query.kind.empty() || entry.kind == static_cast<std::size_t>(kind)) &&
                (!found || (*found)[static_cast<std::size_t>(entry.seq)]))
                hits.push_back(i);
        }
        return hits;
    }

    UploadId idOf(const Entry &entry) const
    {
        auto digits = std::to_string(entry.number);
        digits.insert(0, entry.digits - digits.size(), '0');
        return {entry.number, kinds_[entry.kind], digits + '-' + kinds_[entry.kind]};
    }

    /// The first entry that is not older than \a id.
    std::size_t position(const UploadId &id) const
    {
        const auto isBefore = [this](const Entry &entry, const UploadId &other) {
            return entry.number < other.number || (entry.number == other.number && isOlder(idOf(entry), other));
        };
        return static_cast<std::size_t>(std::lower_bound(entries_.begin(), entries_.end(), id, isBefore) -
                                        entries_.begin());
    }

    bool isAt(std::size_t position, const UploadId &id) const
    {
        return position < entries_.size() && idOf(entries_[position]).text == id.text;
    }

    const Entry &entry(std::size_t position) const { return entries_[position]; }
    const std::vector<Entry> &entries() const { return entries_; }
    const std::string &kindOf(const Entry &entry) const { return kinds_[entry.kind]; }
    UploadTable &table() { return *table_; }

private:
    /// The result of an earlier search, as far as uploads had come by then.
    struct Search
    {
        SearchWords words;
        std::vector<bool> isFound; ///< by Entry::seq, up to the last one
    };

    template<typename Enter>
    void wait(Enter enter)
    {
        std::size_t count = 0;
        {
            const std::lock_guard<std::mutex> guard(waitingMutex_);
            enter();
            count = addedWaiting_.size() + removedWaiting_.size();
        }
        if (count >= kRowsAtOnce)
            withTable([] {});
    }

    /// Writes what has come and gone since the last time.
    void takeWaiting()
    {
        std::vector<UploadTable::Row> added;
        std::vector<UploadId> removed;
        {
            const std::lock_guard<std::mutex> guard(waitingMutex_);
            added.swap(addedWaiting_);
            removed.swap(removedWaiting_);
        }
        if (added.empty() && removed.empty())
            return;
        isStale_ = true;
        addRows(std::move(added));
        removeRows(removed);
        isStale_ = false;
    }

    void addRows(std::vector<UploadTable::Row> rows)
    {
        // A table that was made from the folders in between may have them.
        const auto isKnown = [this](const UploadTable::Row &row) {
            return isAt(position(row.upload.id), row.upload.id);
        };
        rows.erase(std::remove_if(rows.begin(), rows.end(), isKnown), rows.end());
        for (auto &row : rows)
            row.seq = ++lastSeq_;
        table_->change(rows, {});
        for (const auto &row : rows)
            enter(row.upload.id, row.seq, row.upload.time);
    }

    void removeRows(const std::vector<UploadId> &ids)
    {
        std::vector<std::int64_t> seqs;
        std::vector<std::size_t> positions;
        for (const auto &id : ids) {
            if (const auto found = position(id); isAt(found, id)) {
                seqs.push_back(entries_[found].seq);
                positions.push_back(found);
            }
        }
        table_->change({}, seqs);
        std::sort(positions.rbegin(), positions.rend());
        for (const auto found : positions)
            entries_.erase(entries_.begin() + static_cast<std::ptrdiff_t>(found));
    }

    void enter(const UploadId &id, std::int64_t seq, const std::string &time)
    {
        auto kind = std::find(kinds_.begin(), kinds_.end(), id.kind);
        if (kind == kinds_.end())
            kind = kinds_.insert(kind, id.kind);
        const Entry entry = {id.number, seq, timeNumber(time), id.text.find('-'),
                             static_cast<std::size_t>(kind - kinds_.begin())};
        entries_.insert(entries_.begin() + static_cast<std::ptrdiff_t>(position(id)), entry);
    }

    const Search &search(const SearchWords &words)
    {
        const auto isSame = [&words](const Search &search) {
            return search.words.user == words.user && search.words.room == words.room && search.words.any == words.any;
        };
        const auto known = std::find_if(searches_.begin(), searches_.end(), isSame);
        if (known == searches_.end())
            searches_.push_front({words, {false}});
        else
            searches_.splice(searches_.begin(), searches_, known);
        if (searches_.size() > kMaxKeptSearches)
            searches_.pop_back();
        auto &isFound = searches_.front().isFound;
        if (isFound.size() > static_cast<std::size_t>(lastSeq_))
            return searches_.front();
        const auto found = table_->find(words, static_cast<std::int64_t>(isFound.size()) - 1);
        isFound.resize(static_cast<std::size_t>(lastSeq_) + 1);
        for (const auto seq : found)
            isFound[static_cast<std::size_t>(seq)] = true;
        return searches_.front();
    }

    void open()
    {
        table_.reset();
        table_.emplace(folder_ / kFileName);
    }

    /// Reads the keys, and takes in and out what came and went meanwhile.
    void load()
    {
        isStale_ = true;
        entries_.clear();
        searches_.clear();
        for (const auto &key : table_->keys()) {
            lastSeq_ = std::max(lastSeq_, key.seq);
            if (const auto id = parseUploadId(key.id))
                enter(*id, key.seq, key.time);
        }
        const auto stored = storedIds(folder_);
        std::vector<UploadId> gone;
        for (const auto &entry : entries_) {
            auto id = idOf(entry);
            if (!std::binary_search(stored.begin(), stored.end(), id.text))
                gone.push_back(std::move(id));
        }
        removeRows(gone);
        std::vector<UploadTable::Row> rows;
        for (const auto &text : stored) {
            const auto id = parseUploadId(text);
            if (isAt(position(*id), *id))
                continue;
            auto found = readStoredUpload(folder_, *id);
            auto texts = searchTexts(found.upload, found.fields);
            rows.push_back({0, std::move(found.upload), std::move(texts)});
            if (rows.size() == kRowsAtOnce)
                addRows(std::exchange(rows, {}));
        }
        addRows(std::move(rows));
        isStale_ = false;
    }

    void makeAnew()
    {
        table_.reset();
        for (const auto *ending : {"", "-wal", "-shm", "-journal"})
            fs::remove(folder_ / (std::string(kFileName) + ending));
        open();
        load();
        table_->markComplete();
    }

    const fs::path folder_;

    std::mutex mutex_; ///< for all that follows, up to the other one
    std::optional<UploadTable> table_;
    bool isStale_ = false;       ///< it does not have what was to be written, or the following does not agree
    std::vector<Entry> entries_; ///< by isOlder()
    std::vector<std::string> kinds_;
    std::int64_t lastSeq_ = 0;
    std::list<Search> searches_; ///< the last one first

    std::mutex waitingMutex_; ///< may be taken within the first one
    std::vector<UploadTable::Row> addedWaiting_;
    std::vector<UploadId> removedWaiting_;
};

UploadIndex::UploadIndex(const fs::path &folder) : impl_(std::make_unique<Impl>(folder)) {}

UploadIndex::~UploadIndex()
{
    try {
        storedCount();
    } catch (const std::exception &) { // the next process finds what is missing
    }
}

UploadMatches UploadIndex::find(const UploadQuery &query) const
{
    return impl_->withTable([&] {
        auto &index = *impl_;
        const auto hits = index.hits(query);
        auto first = hits.begin();
        auto last = hits.end();
        if (query.after) {
            first = std::lower_bound(hits.begin(), hits.end(), index.position(*query.after));
            if (first != hits.end() && index.isAt(*first, *query.after))
                ++first;
            last = first + static_cast<std::ptrdiff_t>(
                               std::min<std::size_t>(query.limit, static_cast<std::size_t>(hits.end() - first)));
        } else {
            if (query.before)
                last = std::lower_bound(hits.begin(), hits.end(), index.position(*query.before));
            first = last - static_cast<std::ptrdiff_t>(
                               std::min<std::size_t>(query.limit, static_cast<std::size_t>(last - hits.begin())));
        }
        UploadMatches matches;
        matches.total = hits.size();
        std::vector<std::int64_t> seqs;
        for (auto hit = last; hit != first;)
            seqs.push_back(index.entry(*--hit).seq);
        matches.uploads = index.table().uploads(seqs);
        if (first != last && first != hits.begin())
            matches.older = index.idOf(index.entry(*first));
        if (first != last && last != hits.end())
            matches.newer = index.idOf(index.entry(*(last - 1)));
        return matches;
    });
}

std::optional<IndexedUpload> UploadIndex::find(const UploadId &id) const
{
    return impl_->withTable([&]() -> std::optional<IndexedUpload> {
        const auto position = impl_->position(id);
        if (!impl_->isAt(position, id))
            return std::nullopt;
        return impl_->table().uploads({impl_->entry(position).seq}).front();
    });
}

std::uint64_t UploadIndex::storedCount() const
{
    return impl_->withTable([&] { return impl_->entries().size(); });
}

std::vector<DayCount> UploadIndex::countsByDay(const UploadQuery &query, std::size_t days) const
{
    return impl_->withTable([&] {
        std::map<std::int64_t, std::map<std::string, std::uint64_t>> byDay;
        for (const auto hit : impl_->hits(query)) {
            const auto &entry = impl_->entry(hit);
            if (entry.time != 0)
                ++byDay[entry.time / kTimesOfADay][impl_->kindOf(entry)];
        }
        while (byDay.size() > days)
            byDay.erase(byDay.begin());
        std::vector<DayCount> counts;
        for (const auto &[day, kinds] : byDay) {
            for (const auto &[kind, count] : kinds)
                counts.push_back({dayText(day), kind, count});
        }
        return counts;
    });
}

void UploadIndex::add(const IndexedUpload &upload, const nlohmann::json &fields)
{
    impl_->add({0, upload, searchTexts(upload, fields)});
}

void UploadIndex::remove(const UploadId &id)
{
    impl_->remove(id);
}
