#include "store/uploadtable.h"

#include "text/characters.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <utility>

namespace {

// To be raised with every change of the tables, and of what they are filled with.
constexpr std::int64_t kVersion = 2;

constexpr std::size_t kMaxShownBytes = 1024; // of what a list shows of one value
constexpr std::size_t kMaxRooms = 100;

// "words" has each three characters in a row. Shorter words it does not have: those stand in "grams", each as
// hexText().
constexpr char kTables[] = R"(
CREATE TABLE uploads(seq INTEGER PRIMARY KEY, id TEXT NOT NULL, rooms TEXT NOT NULL, file_name TEXT, bytes INTEGER,
    time TEXT NOT NULL, nickname TEXT NOT NULL, login_name TEXT NOT NULL, user_id TEXT NOT NULL,
    namespace TEXT NOT NULL, content_name TEXT NOT NULL, sha256 TEXT NOT NULL, message TEXT NOT NULL,
    unsplit TEXT NOT NULL);
CREATE INDEX keys ON uploads(id, time);
CREATE VIRTUAL TABLE words USING fts5(user, room, rest, tokenize='trigram case_sensitive 1');
CREATE VIRTUAL TABLE grams USING fts5(user, room, rest, tokenize=ascii, content='', columnsize=0, detail=column);
)";

// What the columns from "time" on hold.
constexpr std::array<std::string IndexedUpload::*, 9> kTexts = {
    &IndexedUpload::time,   &IndexedUpload::nickname,  &IndexedUpload::loginName,
    &IndexedUpload::userId, &IndexedUpload::nameSpace, &IndexedUpload::contentName,
    &IndexedUpload::sha256, &IndexedUpload::message,   &IndexedUpload::unsplit};

std::string shownOf(const std::string &text)
{
    return std::string(shortened(text, kMaxShownBytes));
}

std::string roomsText(const std::vector<Room> &rooms)
{
    auto list = nlohmann::json::array();
    for (std::size_t i = 0; i < std::min(rooms.size(), kMaxRooms); ++i)
        list.push_back({shownOf(rooms[i].id), shownOf(rooms[i].name)});
    return list.dump();
}

std::vector<Room> roomsOf(const std::string &text)
{
    std::vector<Room> rooms;
    const auto list = nlohmann::json::parse(text, nullptr, false);
    for (const auto &room : list) {
        if (!room.is_array() || room.size() != 2 || !room[0].is_string() || !room[1].is_string())
            throw DatabaseError("the index of the uploads has a row with other rooms", true);
        rooms.push_back({room[0].get<std::string>(), room[1].get<std::string>()});
    }
    return rooms;
}

/// What bind() has written, from a row with all columns.
IndexedUpload uploadOf(const Statement &row)
{
    IndexedUpload upload;
    if (const auto id = parseUploadId(row.text(1)))
        upload.id = *id;
    upload.rooms = roomsOf(row.text(2));
    if (!row.isNull(3))
        upload.fileName = row.text(3);
    if (!row.isNull(4))
        upload.bytes = static_cast<std::uint64_t>(row.integer(4));
    for (std::size_t i = 0; i < kTexts.size(); ++i)
        upload.*kTexts[i] = row.text(5 + static_cast<int>(i));
    return upload;
}

void bind(Statement &row, std::int64_t seq, const IndexedUpload &upload)
{
    row.bind(seq).bind(upload.id.text).bind(roomsText(upload.rooms));
    upload.fileName ? row.bind(shownOf(*upload.fileName)) : row.bindNull();
    upload.bytes ? row.bind(static_cast<std::int64_t>(*upload.bytes)) : row.bindNull();
    for (const auto text : kTexts)
        row.bind(shownOf(upload.*text));
}

void appendTerm(std::string &expression, const std::string &column, const std::string &word)
{
    expression += (expression.empty() ? "" : " AND ") + column + '"';
    for (const char c : word)
        expression += c == '"' ? "\"\"" : std::string(1, c);
    expression += '"';
}

/// What is to be found in each of the two tables; empty: nothing.
std::pair<std::string, std::string> expressionsFor(const SearchWords &words)
{
    std::pair<std::string, std::string> expressions;
    for (const auto &[column, text] :
         {std::pair("user : ", &words.user), std::pair("room : ", &words.room), std::pair("", &words.any)}) {
        for (const auto &word : wordsOf(*text)) {
            if (isShort(word))
                appendTerm(expressions.second, column, hexText(word));
            else
                appendTerm(expressions.first, column, word);
        }
    }
    return expressions;
}

} // namespace

UploadTable::UploadTable(const std::filesystem::path &file) : database_(file)
{
    auto version = database_.prepare("PRAGMA application_id");
    version.step();
    const auto found = version.integer(0);
    version.step();
    if (found == kVersion)
        return;
    if (found != 0)
        throw DatabaseError("the index of the uploads has another version", true);
    database_.execute("BEGIN");
    database_.execute(kTables);
    database_.execute("PRAGMA application_id=" + std::to_string(kVersion));
    database_.execute("COMMIT");
}

bool UploadTable::isComplete()
{
    auto version = database_.prepare("PRAGMA user_version");
    version.step();
    return version.integer(0) == kVersion;
}

void UploadTable::markComplete()
{
    database_.execute("PRAGMA user_version=" + std::to_string(kVersion));
}

std::vector<UploadTable::Key> UploadTable::keys()
{
    std::vector<Key> keys;
    auto rows = database_.prepare("SELECT seq, id, time FROM uploads INDEXED BY keys");
    while (rows.step())
        keys.push_back({rows.integer(0), rows.text(1), rows.text(2)});
    return keys;
}

std::vector<IndexedUpload> UploadTable::uploads(const std::vector<std::int64_t> &seqs)
{
    auto row = database_.prepare("SELECT * FROM uploads WHERE seq = ?");
    std::vector<IndexedUpload> uploads;
    for (const auto seq : seqs) {
        if (!row.bind(seq).step())
            throw DatabaseError("the index of the uploads lacks a row", true);
        uploads.push_back(uploadOf(row));
        row.step();
    }
    return uploads;
}

void UploadTable::change(const std::vector<Row> &added, const std::vector<std::int64_t> &removed)
{
    if (added.empty() && removed.empty())
        return;
    database_.execute("BEGIN");
    try {
        auto uploads = database_.prepare("INSERT INTO uploads VALUES(?,?,?,?,?,?,?,?,?,?,?,?,?,?)");
        auto words = database_.prepare("INSERT INTO words(rowid, user, room, rest) VALUES(?,?,?,?)");
        auto grams = database_.prepare("INSERT INTO grams(rowid, user, room, rest) VALUES(?,?,?,?)");
        for (const auto &[seq, upload, texts] : added) {
            bind(uploads, seq, upload);
            uploads.step();
            words.bind(seq).bind(texts.user).bind(texts.room).bind(texts.rest).step();
            grams.bind(seq).bind(gramsOf(texts.user)).bind(gramsOf(texts.room)).bind(gramsOf(texts.rest)).step();
        }
        for (const auto seq : removed)
            remove(seq);
        database_.execute("COMMIT");
    } catch (...) {
        try {
            database_.execute("ROLLBACK");
        } catch (const DatabaseError &) { // some errors have rolled back by themselves
        }
        throw;
    }
}

void UploadTable::remove(std::int64_t seq)
{
    // The table of short words keeps no texts: what to take out of its lists has to be told.
    auto texts = database_.prepare("SELECT user, room, rest FROM words WHERE rowid = ?");
    if (texts.bind(seq).step()) {
        database_.prepare("INSERT INTO grams(grams, rowid, user, room, rest) VALUES('delete',?,?,?,?)")
            .bind(seq)
            .bind(gramsOf(texts.text(0)))
            .bind(gramsOf(texts.text(1)))
            .bind(gramsOf(texts.text(2)))
            .step();
    }
    database_.prepare("DELETE FROM words WHERE rowid = ?").bind(seq).step();
    database_.prepare("DELETE FROM uploads WHERE seq = ?").bind(seq).step();
}

std::vector<std::int64_t> UploadTable::find(const SearchWords &words, std::int64_t above)
{
    const auto rowsOf = [&](const std::string &table, const std::string &expression) {
        std::vector<std::int64_t> found;
        auto rows = database_.prepare("SELECT rowid FROM " + table + " WHERE " + table +
                                      " MATCH ? AND rowid > ? ORDER BY rowid");
        rows.bind(expression).bind(above);
        while (rows.step())
            found.push_back(rows.integer(0));
        return found;
    };
    const auto [longOnes, shortOnes] = expressionsFor(words);
    if (longOnes.empty())
        return rowsOf("grams", shortOnes);
    auto found = rowsOf("words", longOnes);
    if (shortOnes.empty())
        return found;
    const auto others = rowsOf("grams", shortOnes);
    std::vector<std::int64_t> both;
    std::set_intersection(found.begin(), found.end(), others.begin(), others.end(), std::back_inserter(both));
    return both;
}
