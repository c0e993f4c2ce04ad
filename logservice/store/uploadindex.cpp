#include "store/uploadindex.h"

#include "store/indexedupload.h"
#include "store/searchtext.h"

#include <algorithm>
#include <limits>
#include <map>
#include <numeric>
#include <tuple>
#include <utility>

namespace fs = std::filesystem;

namespace {

constexpr char kFileName[] = ".index.sqlite";

// Rows of one transaction: each of those writes the beginnings of many lists, which is most of what a row costs.
constexpr std::size_t kRowsAtOnce = 100;

// What a reader pages through, and the day before it.
constexpr std::size_t kMaxKeptSearches = 8;

} // namespace

template<typename Action>
auto UploadIndex::withTable(Action action)
{
    const std::lock_guard<std::mutex> guard(mutex_);
    try {
        if (!table_)
            makeAnew(); // it had failed
        catchUp();
        return action();
    } catch (const DatabaseError &error) {
        if (!error.isDamage)
            throw;
    }
    makeAnew();
    return action();
}

template<typename Enter>
void UploadIndex::wait(Enter enter)
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

UploadIndex::UploadIndex(fs::path folder) : folder_(std::move(folder))
{
    try {
        table_.emplace(folder_ / kFileName);
        if (table_->isComplete()) {
            load();
            return;
        }
    } catch (const DatabaseError &) { // as if there were none
    }
    makeAnew();
}

UploadIndex::~UploadIndex()
{
    try {
        withTable([] {});
    } catch (const std::exception &) { // the next process finds what is missing
    }
}

UploadMatches UploadIndex::find(const UploadQuery &query)
{
    return withTable([&] {
        const auto hits = this->hits(query);
        const auto notBefore = [&](const UploadId &id) {
            return std::lower_bound(hits.begin(), hits.end(), keys_.placeOf(id));
        };
        auto first = hits.begin();
        auto last = hits.end();
        if (query.after) {
            first = notBefore(*query.after);
            if (first != hits.end() && keys_.isAt(*first, *query.after))
                ++first;
        } else if (query.before) {
            last = notBefore(*query.before);
        }
        const auto limit = static_cast<std::ptrdiff_t>(query.limit);
        if (query.after)
            last = first + std::min(limit, last - first);
        else
            first = last - std::min(limit, last - first);

        UploadMatches matches;
        matches.total = hits.size();
        matches.newerCount = static_cast<std::uint64_t>(hits.end() - last);
        std::vector<std::int64_t> seqs;
        for (auto hit = last; hit != first;)
            seqs.push_back(keys_.seq(*--hit));
        matches.uploads = table_->uploads(seqs);
        if (first != last && first != hits.begin())
            matches.older = keys_.id(*first);
        if (first != last && last != hits.end())
            matches.newer = keys_.id(*(last - 1));
        matches.storedCount = keys_.size();
        matches.days = countsByDay(hits, query.days);
        return matches;
    });
}

std::optional<IndexedUpload> UploadIndex::find(const UploadId &id)
{
    return withTable([&]() -> std::optional<IndexedUpload> {
        const auto place = keys_.placeOf(id);
        if (!keys_.isAt(place, id))
            return std::nullopt;
        return table_->uploads({keys_.seq(place)}).front();
    });
}

void UploadIndex::add(const IndexedUpload &upload, const nlohmann::json &fields)
{
    UploadTable::Row row = {0, upload, searchTexts(upload, fields)};
    wait([&] { addedWaiting_.push_back(std::move(row)); });
}

void UploadIndex::remove(const UploadId &id)
{
    wait([&] { removedWaiting_.push_back(id); });
}

void UploadIndex::load()
{
    isStale_ = true;
    keys_.clear();
    searches_.clear();
    for (const auto &key : table_->keys()) {
        lastSeq_ = std::max(lastSeq_, key.seq);
        if (const auto id = parseUploadId(key.id))
            keys_.insert(*id, key.seq, key.time);
    }
    const auto stored = storedIds(folder_);
    std::vector<UploadId> gone;
    for (std::size_t place = 0; place < keys_.size(); ++place) {
        auto id = keys_.id(place);
        if (!std::binary_search(stored.begin(), stored.end(), id.text))
            gone.push_back(std::move(id));
    }
    table_->change({}, keys_.erase(gone));
    std::vector<UploadTable::Row> rows;
    for (const auto &text : stored) {
        const auto id = parseUploadId(text);
        if (keys_.isAt(keys_.placeOf(*id), *id))
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

void UploadIndex::makeAnew()
{
    table_.reset();
    for (const auto *ending : {"", "-wal", "-shm", "-journal"})
        fs::remove(folder_ / (std::string(kFileName) + ending));
    table_.emplace(folder_ / kFileName);
    load();
    table_->markComplete();
}

void UploadIndex::catchUp()
{
    std::vector<UploadTable::Row> added;
    std::vector<UploadId> removed;
    {
        const std::lock_guard<std::mutex> guard(waitingMutex_);
        added.swap(addedWaiting_);
        removed.swap(removedWaiting_);
    }
    try {
        if (isStale_)
            load();
        isStale_ = true;
        addRows(std::move(added));
        table_->change({}, keys_.erase(removed));
        isStale_ = false;
    } catch (const DatabaseError &error) { // such as a full disk; it is tried again, since the table is stale
        if (error.isDamage)
            throw;
    }
}

void UploadIndex::addRows(std::vector<UploadTable::Row> rows)
{
    // A table that was made from the folders in between may have them.
    const auto isKnown = [this](const UploadTable::Row &row) {
        return keys_.isAt(keys_.placeOf(row.upload.id), row.upload.id);
    };
    rows.erase(std::remove_if(rows.begin(), rows.end(), isKnown), rows.end());
    for (auto &row : rows)
        row.seq = ++lastSeq_;
    table_->change(rows, {});
    for (const auto &row : rows)
        keys_.insert(row.upload.id, row.seq, row.upload.time);
}

const std::vector<bool> &UploadIndex::search(const SearchWords &words)
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
        return isFound;
    const auto found = table_->find(words, static_cast<std::int64_t>(isFound.size()) - 1);
    isFound.resize(static_cast<std::size_t>(lastSeq_) + 1);
    for (const auto seq : found)
        isFound[static_cast<std::size_t>(seq)] = true;
    return isFound;
}

std::vector<std::size_t> UploadIndex::hits(const UploadQuery &query)
{
    const SearchWords words = {folded(query.user), folded(query.room), folded(query.text)};
    const bool hasWords = !wordsOf(words.user + ' ' + words.room + ' ' + words.any).empty();
    const auto *found = hasWords ? &search(words) : nullptr;
    const bool hasTimes = !query.since.empty() || !query.until.empty();
    const auto since = std::max<std::int64_t>(UploadKeys::timeNumber(query.since), hasTimes ? 1 : 0);
    const auto until =
        query.until.empty() ? std::numeric_limits<std::int64_t>::max() : UploadKeys::timeNumber(query.until);
    std::vector<std::size_t> hits;
    hits.reserve(keys_.size());
    if (!hasWords && !hasTimes && query.kind.empty()) {
        hits.resize(keys_.size());
        std::iota(hits.begin(), hits.end(), std::size_t(0));
        return hits;
    }
    const auto &kinds = keys_.kinds();
    const auto kind = std::size_t(std::find(kinds.begin(), kinds.end(), query.kind) - kinds.begin());
    for (std::size_t place = 0; place < keys_.size(); ++place) {
        const auto time = keys_.time(place);
        if ((!found || (*found)[static_cast<std::size_t>(keys_.seq(place))]) && time >= since && time <= until &&
            (query.kind.empty() || keys_.kindNumber(place) == kind))
            hits.push_back(place);
    }
    return hits;
}

std::vector<DayCount> UploadIndex::countsByDay(const std::vector<std::size_t> &places, std::size_t days) const
{
    std::map<std::int64_t, std::vector<std::uint64_t>> byDay;
    auto ofDay = byDay.end(); // most come on the day of the one before
    for (std::size_t i = 0; days > 0 && i < places.size(); ++i) {
        const auto day = UploadKeys::dayNumber(keys_.time(places[i]));
        if (day == 0)
            continue;
        if (ofDay == byDay.end() || ofDay->first != day)
            ofDay = byDay.try_emplace(day, keys_.kinds().size()).first;
        ++ofDay->second[keys_.kindNumber(places[i])];
    }
    while (byDay.size() > days)
        byDay.erase(byDay.begin());
    std::vector<DayCount> counts;
    for (const auto &[day, ofKinds] : byDay) {
        for (std::size_t kind = 0; kind < ofKinds.size(); ++kind) {
            if (ofKinds[kind] > 0)
                counts.push_back({UploadKeys::dayText(day), keys_.kinds()[kind], ofKinds[kind]});
        }
    }
    std::sort(counts.begin(), counts.end(),
              [](const DayCount &a, const DayCount &b) { return std::tie(a.day, a.kind) < std::tie(b.day, b.kind); });
    return counts;
}
