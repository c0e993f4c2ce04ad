#pragma once

#include "store/storedfile.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Levels of a log, from the least to the gravest; None: no record, or one without a level that is known.
enum class Level { None, Debug, Info, Warning, Critical, Fatal };

/// Their names, in addresses and on pages; None has none.
inline constexpr std::array<std::string_view, 6> kLevelNames = {"", "debug", "info", "warning", "critical", "fatal"};

/// One record of a log of the logging module, one line of any other file, or a piece of one that is very long.
struct LogRow
{
    std::uint64_t offset = 0; ///< of its first byte in the file
    Level level = Level::None;
    std::string time;  ///< as it is written; empty like the next two: the row is no record
    std::string place; ///< file and line, such as src/net.cpp:42
    std::string function;
    std::string text;
};

/// Reads the head of a record off \a bytes, which hold one row, and leaves the message as the text.
LogRow parseRow(std::string_view bytes, std::uint64_t offset);

/// Which rows of a file are wanted.
struct LogQuery
{
    std::uint64_t from = 0;              ///< a row that holds this byte is the first one that is looked at
    std::optional<std::uint64_t> before; ///< instead of from: the rows that are nearest in front of this byte
    Level level = Level::None;           ///< of graver ones and this one; None: all
    std::vector<std::string> words;      ///< see folded(); a row has to hold all of them

    bool isFiltered() const { return level != Level::None || !words.empty(); }
};

/// How far one page goes: to the limit that is reached first. The last row may go beyond.
struct LogLimits
{
    std::size_t maxRows = 200;
    std::uint64_t maxShownBytes = std::uint64_t(256) * 1024;
    std::uint64_t maxReadBytes = std::uint64_t(32) * 1024 * 1024; ///< a second of folding, if none of it is ASCII
};

/// The rows of a page, in the order of the file.
struct LogPage
{
    std::vector<LogRow> rows;
    bool hasRecords = false; ///< of the logging module; else rows are lines
    std::uint64_t begin = 0; ///< bytes that were looked at
    std::uint64_t end = 0;
};

/// Reads one page of \a file, and no more of it than \a limits allow, however large it is.
LogPage readLog(const StoredFile &file, const LogQuery &query, const LogLimits &limits = {});
