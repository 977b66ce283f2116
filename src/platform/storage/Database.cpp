#include "Database.h"

#include "Clock.h"
#include "CodePage.h"
#include "Failure.h"
#include "FileAccess.h"
#include "Files.h"
#include "Paths.h"

#include <sqlite3.h>

#include <cerrno>
#include <cstring>
#include <deque>
#include <fcntl.h>
#include <map>
#include <sys/file.h>
#include <tuple>
#include <utility>
#include <vector>

namespace platform {

namespace {

constexpr int BUSY_TIMEOUT = 2000;  // ms
constexpr int OPEN_TIMEOUT = 10000; // ms: another program may be shrinking the file on a slow disk
// Merging the write-ahead log into the file is the only step that waits for the disk. Every 8192 pages instead of every
// 1000: with the store's small pages that is a log of at most 8 MB.
constexpr const char* WRITE_AHEAD =
    "PRAGMA journal_mode = WAL; PRAGMA synchronous = NORMAL; PRAGMA wal_autocheckpoint = 8192";

[[noreturn]] void RaiseEngine(sqlite3* connection) {
    Raise(DATABASE_ERROR, std::string("Database error: ") + sqlite3_errmsg(connection));
}

void Run(sqlite3* connection, const std::string& statements) {
    if (sqlite3_exec(connection, statements.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK)
        RaiseEngine(connection);
}

using Connection = std::unique_ptr<sqlite3, decltype(&sqlite3_close_v2)>;

Connection Open(const std::string& resolved, int flags) {
    sqlite3* opened = nullptr;
    const int code = sqlite3_open_v2(resolved.c_str(), &opened, flags, nullptr);
    Connection connection(opened, &sqlite3_close_v2);
    if (code != SQLITE_OK)
        RaiseEngine(opened);
    sqlite3_busy_timeout(opened, OPEN_TIMEOUT);
    return connection;
}

std::string WhyNotWritable(const std::string& path) {
    return MayWrite(path) ? "it is read only" : std::strerror(errno);
}

// For steps in which the engine itself doesn't wait for other programs. False if they took too long.
template <class Attempted> bool Persist(Attempted attempt) {
    constexpr int STEP = 10; // ms
    for (int waited = 0; waited < OPEN_TIMEOUT; waited += STEP) {
        if (attempt())
            return true;
        Sleep(STEP);
    }
    return false;
}

void BeginWriteAhead(sqlite3* connection) {
    const bool begun = Persist([&] {
        const int code = sqlite3_exec(connection, WRITE_AHEAD, nullptr, nullptr, nullptr);
        if (code != SQLITE_OK && code != SQLITE_BUSY)
            RaiseEngine(connection);
        return code == SQLITE_OK;
    });
    if (!begun)
        RaiseEngine(connection);
}

// Makes every other program wait that creates a database in the same folder.
class FolderLock {
public:
    explicit FolderLock(const std::string& path) : folder_(OpenDescriptor(FolderOf(path), O_RDONLY | O_DIRECTORY)) {
        // A file system without such locks doesn't prevent anything.
        if (!Persist([&] { return flock(folder_.number, LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK; }))
            Raise(PERMISSION_DENIED, "Another program has locked the folder of " + path);
    }

private:
    Descriptor folder_;
};

using Statement = std::unique_ptr<sqlite3_stmt, decltype(&sqlite3_finalize)>;

// A single statement.
Statement Prepare(sqlite3* connection, const std::string& text) {
    sqlite3_stmt* statement = nullptr;
    const char* tail = nullptr;
    const int code = sqlite3_prepare_v2(connection, text.c_str(), int(text.size()) + 1, &statement, &tail);
    Statement owner(statement, &sqlite3_finalize);
    if (code != SQLITE_OK)
        RaiseEngine(connection);
    if (statement == nullptr || !Trim(tail).empty())
        Raise(DATABASE_ERROR, "Database error: a query is one statement");
    return owner;
}

// The statement, ready to run again.
sqlite3_stmt* Fresh(const Statement& statement) {
    sqlite3_reset(statement.get());
    sqlite3_clear_bindings(statement.get());
    return statement.get();
}

void Bind(sqlite3_stmt* statement, int position, const FieldValue& value) {
    if (const auto* number = std::get_if<std::int64_t>(&value))
        sqlite3_bind_int64(statement, position, *number);
    else if (const auto* text = std::get_if<std::string>(&value))
        sqlite3_bind_text(statement, position, text->c_str(), int(text->size()), SQLITE_TRANSIENT);
    else
        sqlite3_bind_null(statement, position);
}

FieldValue ColumnValue(sqlite3_stmt* statement, int column) {
    switch (sqlite3_column_type(statement, column)) {
    case SQLITE_NULL:
        return {};
    case SQLITE_INTEGER:
        return std::int64_t(sqlite3_column_int64(statement, column));
    default: {
        const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement, column));
        return text == nullptr ? std::string()
                               : std::string(text, std::size_t(sqlite3_column_bytes(statement, column)));
    }
    }
}

// The word after FROM.
std::string TableOf(const std::string& query) {
    const std::string upper = UpperCase(query);
    const std::size_t from = upper.find(" FROM ");
    if (upper.rfind("SELECT * ", 0) != 0 || from == std::string::npos)
        Raise(DATABASE_ERROR, "Database error: a query has the form SELECT * FROM table");
    const std::size_t start = query.find_first_not_of(' ', from + 6);
    const std::size_t end = query.find_first_of(" ;", start);
    return start == std::string::npos ? std::string() : query.substr(start, end - start);
}

std::string Quoted(const std::string& name) {
    return "\"" + name + "\"";
}

} // namespace

struct Recordset::Impl {
    Impl(sqlite3* database, const std::string& query)
        : connection(database), table(TableOf(query)),
          fetch(Prepare(database, "SELECT * FROM " + Quoted(table) + " WHERE rowid = ?1")),
          erase(Prepare(database, "DELETE FROM " + Quoted(table) + " WHERE rowid = ?1")),
          insert(nullptr, &sqlite3_finalize) {
        // Only the row IDs are read; values are fetched on demand.
        const Statement select = Prepare(database, "SELECT rowid, " + query.substr(std::string("SELECT ").size()));
        int code = SQLITE_ROW;
        while ((code = sqlite3_step(select.get())) == SQLITE_ROW)
            rows.push_back(sqlite3_column_int64(select.get(), 0));
        if (code != SQLITE_DONE)
            RaiseEngine(database);
        for (int column = 0; column < sqlite3_column_count(fetch.get()); ++column)
            columns.emplace_back(sqlite3_column_name(fetch.get(), column));
        std::string places;
        for (std::size_t i = 0; i < columns.size(); ++i)
            places += (i == 0 ? "?" : ", ?") + std::to_string(i + 1);
        insert = Prepare(database, "INSERT INTO " + Quoted(table) + " VALUES (" + places + ")");
    }

    std::size_t ColumnNumber(const std::string& name) const {
        for (std::size_t i = 0; i < columns.size(); ++i)
            if (sqlite3_stricmp(columns[i].c_str(), name.c_str()) == 0)
                return i;
        Raise(DATABASE_ERROR, "Database error: no field named " + name);
    }
    std::int64_t CurrentRow() const {
        if (current >= rows.size())
            Raise(DATABASE_ERROR, "Database error: no current record");
        return rows[current];
    }
    void Step(sqlite3_stmt* statement) {
        const int code = sqlite3_step(statement);
        sqlite3_reset(statement);
        if (code != SQLITE_DONE)
            RaiseEngine(connection);
    }
    void InsertRow() {
        sqlite3_stmt* statement = Fresh(insert);
        for (std::size_t i = 0; i < columns.size(); ++i) {
            const auto value = pending.find(i);
            if (value != pending.end())
                Bind(statement, int(i) + 1, value->second);
        }
        Step(statement);
        rows.push_back(sqlite3_last_insert_rowid(connection));
        current = rows.size() - 1;
    }
    void UpdateRow() {
        if (pending.empty())
            return;
        std::string text = "UPDATE " + Quoted(table) + " SET ";
        int position = 1;
        for (const auto& [column, value] : pending) {
            text += (position > 1 ? ", " : "") + Quoted(columns[column]) + " = ?" + std::to_string(position);
            ++position;
        }
        const Statement update = Prepare(connection, text + " WHERE rowid = ?" + std::to_string(position));
        position = 1;
        for (const auto& [column, value] : pending)
            Bind(update.get(), position++, value);
        sqlite3_bind_int64(update.get(), position, CurrentRow());
        Step(update.get());
    }

    sqlite3* connection;
    std::string table;
    Statement fetch, erase, insert;
    std::deque<sqlite3_int64> rows;
    std::size_t current = 0; // rows.size() at the end
    std::vector<std::string> columns;
    enum class Edit { None, New, Existing } edit = Edit::None;
    std::map<std::size_t, FieldValue> pending; // by column
};

Recordset::Recordset(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
Recordset::~Recordset() = default;

bool Recordset::AtEnd() const {
    return impl_->current >= impl_->rows.size();
}
void Recordset::MoveFirst() {
    impl_->current = 0;
}
void Recordset::MoveLast() {
    impl_->current = impl_->rows.empty() ? 0 : impl_->rows.size() - 1;
}
std::int64_t Recordset::RecordCount() const {
    return std::int64_t(impl_->rows.size());
}

FieldValue Recordset::Field(const std::string& name) const {
    const std::size_t column = impl_->ColumnNumber(name);
    sqlite3_stmt* statement = Fresh(impl_->fetch);
    sqlite3_bind_int64(statement, 1, impl_->CurrentRow());
    const int code = sqlite3_step(statement);
    FieldValue value = code == SQLITE_ROW ? ColumnValue(statement, int(column)) : FieldValue();
    sqlite3_reset(statement);
    if (code == SQLITE_DONE)
        Raise(DATABASE_ERROR, "Database error: the record was deleted");
    if (code != SQLITE_ROW)
        RaiseEngine(impl_->connection);
    return value;
}

std::string Recordset::Text(const std::string& name) const {
    const FieldValue value = Field(name);
    if (const auto* text = std::get_if<std::string>(&value))
        return *text;
    if (const auto* number = std::get_if<std::int64_t>(&value))
        return std::to_string(*number);
    return {};
}

void Recordset::AddNew() {
    impl_->edit = Impl::Edit::New;
    impl_->pending.clear();
}

void Recordset::Edit() {
    impl_->CurrentRow();
    impl_->edit = Impl::Edit::Existing;
    impl_->pending.clear();
}

void Recordset::SetField(const std::string& name, FieldValue value) {
    if (impl_->edit == Impl::Edit::None)
        Raise(DATABASE_ERROR, "Database error: no record is being edited");
    impl_->pending[impl_->ColumnNumber(name)] = std::move(value);
}

void Recordset::Update() {
    const Impl::Edit edit = std::exchange(impl_->edit, Impl::Edit::None);
    if (edit == Impl::Edit::New)
        impl_->InsertRow();
    else if (edit == Impl::Edit::Existing)
        impl_->UpdateRow();
}

void Recordset::Delete() {
    sqlite3_stmt* statement = Fresh(impl_->erase);
    sqlite3_bind_int64(statement, 1, impl_->CurrentRow());
    impl_->Step(statement);
    impl_->rows.erase(impl_->rows.begin() + std::ptrdiff_t(impl_->current));
}

Database::Database(const std::string& path) {
    const std::string resolved = ResolvePath(path);
    RequireRegularFile(resolved);
    connection_ = Open(resolved, SQLITE_OPEN_READWRITE).release();
    try {
        // Reads the first page, so that opening fails if the file isn't a database.
        Run(connection_, "SELECT count(*) FROM sqlite_master");
        if (sqlite3_db_readonly(connection_, "main") != 0)
            whyNotUpdatable_ = WhyNotWritable(resolved);
        else
            Attempt([&] { BeginWriteAhead(connection_); },
                    [&](const Failure& failure) {
                        whyNotUpdatable_ = failure.Description;
                        lockedOut_ = sqlite3_errcode(connection_) == SQLITE_BUSY;
                    });
        sqlite3_busy_timeout(connection_, BUSY_TIMEOUT);
    } catch (...) {
        sqlite3_close_v2(connection_);
        throw;
    }
}

Database::~Database() {
    sqlite3_close_v2(connection_);
}

bool Database::Updatable() {
    if (lockedOut_) {
        sqlite3_busy_timeout(connection_, 0);
        lockedOut_ = sqlite3_exec(connection_, WRITE_AHEAD, nullptr, nullptr, nullptr) != SQLITE_OK;
        sqlite3_busy_timeout(connection_, BUSY_TIMEOUT);
        if (!lockedOut_)
            whyNotUpdatable_.clear();
    }
    return whyNotUpdatable_.empty();
}

std::unique_ptr<Recordset> Database::OpenRecordset(const std::string& query) {
    return std::unique_ptr<Recordset>(new Recordset(std::make_unique<Recordset::Impl>(connection_, query)));
}

void Database::Execute(const std::string& statements) {
    Run(connection_, statements);
}

std::vector<std::vector<FieldValue>> Database::Read(const std::string& path, const std::string& query) {
    const std::string resolved = ResolvePath(path);
    RequireRegularFile(resolved);
    const Connection connection = Open(resolved, SQLITE_OPEN_READONLY);
    sqlite3_busy_timeout(connection.get(), BUSY_TIMEOUT);
    const Statement select = Prepare(connection.get(), query);
    std::vector<std::vector<FieldValue>> rows;
    int code = SQLITE_ROW;
    while ((code = sqlite3_step(select.get())) == SQLITE_ROW) {
        std::vector<FieldValue>& row = rows.emplace_back();
        for (int column = 0; column < sqlite3_column_count(select.get()); ++column)
            row.push_back(ColumnValue(select.get(), column));
    }
    if (code != SQLITE_DONE)
        RaiseEngine(connection.get());
    return rows;
}

bool Database::Compact(const std::string& path) {
    const std::string resolved = ResolvePath(path);
    RequireRegularFile(resolved);
    const Connection connection = Open(resolved, SQLITE_OPEN_READWRITE);
    sqlite3_busy_timeout(connection.get(), 0);
    // The lock is held from the first write until the file is closed: VACUUM changes row IDs, which a program that
    // opened the file in between would already have read.
    Run(connection.get(), "PRAGMA locking_mode = EXCLUSIVE");
    for (const char* statement : {"PRAGMA journal_mode = DELETE", "BEGIN EXCLUSIVE; COMMIT", "VACUUM"}) {
        if (sqlite3_exec(connection.get(), statement, nullptr, nullptr, nullptr) == SQLITE_OK)
            continue;
        if (sqlite3_errcode(connection.get()) == SQLITE_BUSY)
            return false;
        RaiseEngine(connection.get());
    }
    return true;
}

void Database::CreateFrom(const std::string& from, const std::string& path) {
    const std::string resolved = ResolvePath(path);
    const FolderLock onlyOne(resolved);
    if (FindFirstFileA(resolved))
        return;
    for (const char* suffix : {"-wal", "-shm", "-journal"})
        remove((resolved + suffix).c_str());
    std::ignore = CopyToNewFile(from, path); // one that exists by now is another program's
}

void Database::Create(const std::string& path, const std::string& statements) {
    Run(Open(ResolvePath(path), SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE).get(), statements);
}

} // namespace platform
