#pragma once

#include "store/storeerror.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>

struct sqlite3;
struct sqlite3_stmt;

/// Thrown when SQLite does not do what is asked of it.
class DatabaseError : public StoreError
{
public:
    DatabaseError(const std::string &reason, bool isForDamage) : StoreError(reason), isDamage(isForDamage) {}

    bool isDamage; ///< the file is no database, or one that is damaged
};

/// One prepared statement. Values are bound in the order of the question marks, and read by the number of the column.
class Statement
{
public:
    Statement(sqlite3 *database, const std::string &sql);

    Statement &bind(std::int64_t value);
    Statement &bind(const std::string &text);
    Statement &bindNull();

    /// Goes to the next row. Returns whether there is one; if not, the statement can be bound and run again.
    bool step();

    std::int64_t integer(int column) const;
    std::string text(int column) const;
    bool isNull(int column) const;

private:
    void check(int result) const;

    std::unique_ptr<sqlite3_stmt, int (*)(sqlite3_stmt *)> statement_;
    int bound_ = 0;
};

/// A database file that only this process uses, by one thread at a time.
class Database
{
public:
    /// Opens \a file, which is made when it is missing. Links are not followed.
    explicit Database(const std::filesystem::path &file);

    Statement prepare(const std::string &sql) { return {database_.get(), sql}; }
    void execute(const std::string &sql);

private:
    std::unique_ptr<sqlite3, int (*)(sqlite3 *)> database_;
};
