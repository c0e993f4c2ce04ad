#include "store/database.h"

#include <sqlite3.h>

namespace {

DatabaseError errorOf(sqlite3 *database, int result)
{
    const int code = result & 0xff;
    return {"the index of the uploads: " + std::string(database ? sqlite3_errmsg(database) : sqlite3_errstr(result)),
            code == SQLITE_CORRUPT || code == SQLITE_NOTADB};
}

} // namespace

Statement::Statement(sqlite3 *database, const std::string &sql) : statement_(nullptr, &sqlite3_finalize)
{
    sqlite3_stmt *made = nullptr;
    const int result = sqlite3_prepare_v2(database, sql.c_str(), -1, &made, nullptr);
    statement_.reset(made);
    if (result != SQLITE_OK)
        throw errorOf(database, result);
}

Statement &Statement::bind(std::int64_t value)
{
    check(sqlite3_bind_int64(statement_.get(), ++bound_, value));
    return *this;
}

Statement &Statement::bind(const std::string &text)
{
    check(sqlite3_bind_text64(statement_.get(), ++bound_, text.data(), text.size(), SQLITE_TRANSIENT, SQLITE_UTF8));
    return *this;
}

Statement &Statement::bindNull()
{
    check(sqlite3_bind_null(statement_.get(), ++bound_));
    return *this;
}

bool Statement::step()
{
    const int result = sqlite3_step(statement_.get());
    if (result == SQLITE_ROW)
        return true;
    bound_ = 0;
    if (result != SQLITE_DONE)
        throw errorOf(sqlite3_db_handle(statement_.get()), result);
    sqlite3_reset(statement_.get());
    return false;
}

std::int64_t Statement::integer(int column) const
{
    return sqlite3_column_int64(statement_.get(), column);
}

std::string Statement::text(int column) const
{
    const auto *bytes = sqlite3_column_blob(statement_.get(), column);
    const auto count = sqlite3_column_bytes(statement_.get(), column);
    return bytes ? std::string(static_cast<const char *>(bytes), static_cast<std::size_t>(count)) : std::string();
}

bool Statement::isNull(int column) const
{
    return sqlite3_column_type(statement_.get(), column) == SQLITE_NULL;
}

void Statement::check(int result) const
{
    if (result != SQLITE_OK)
        throw errorOf(sqlite3_db_handle(statement_.get()), result);
}

Database::Database(const std::filesystem::path &file) : database_(nullptr, &sqlite3_close)
{
    sqlite3 *made = nullptr;
    const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_NOFOLLOW;
    const int result = sqlite3_open_v2(file.c_str(), &made, flags, nullptr);
    database_.reset(made);
    if (result != SQLITE_OK)
        throw errorOf(made, result);
    // Nobody else looks into the file, so it needs no shared memory. After a loss of power the last rows may be
    // missing, which the folders tell, but the file is not damaged.
    execute("PRAGMA locking_mode=EXCLUSIVE");
    execute("PRAGMA journal_mode=WAL");
    execute("PRAGMA synchronous=NORMAL");
}

void Database::execute(const std::string &sql)
{
    const int result = sqlite3_exec(database_.get(), sql.c_str(), nullptr, nullptr, nullptr);
    if (result != SQLITE_OK)
        throw errorOf(database_.get(), result);
}
