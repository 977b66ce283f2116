// The database engine: a file, a query text into a record set, rows added, edited and deleted.
// SQLite; write-ahead log, so that a kill at any instant leaves a database that opens with every
// update that had returned. Failures: 3000 with the engine's words.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <variant>

struct sqlite3;
struct sqlite3_stmt;

namespace platform {

using FieldValue = std::variant<std::monostate, std::int64_t, std::string>; // null, number, text

class Database;

// The rows of one query of the form "SELECT * FROM <table> [WHERE ...]", which must stay a single
// statement. The current row is the first after opening.
class Recordset {
public:
    ~Recordset();
    bool AtEnd() const;
    void MoveFirst();
    void MoveLast();
    // Field of the current row. Failure for an unknown name.
    FieldValue Field(const std::string& name) const;
    std::string Text(const std::string& name) const; // "" for null
    // Starts a new row, or an edit of the current one; SetField, then Update stores it.
    void AddNew();
    void Edit();
    void SetField(const std::string& name, FieldValue value);
    void Update();
    void Delete(); // the current row
    std::int64_t RecordCount() const;

private:
    friend class Database;
    struct Impl;
    explicit Recordset(std::unique_ptr<Impl> impl);
    std::unique_ptr<Impl> impl_;
};

class Database {
public:
    // Opens an existing file, shared, read and write. Failure when it isn't there or isn't one.
    explicit Database(const std::string& path);
    ~Database();
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;
    // Where only a lock of another program stood in the way, this tries again.
    bool Updatable();
    // In the system's words, for one that can be read only; else "".
    const std::string& WhyNotUpdatable() const { return whyNotUpdatable_; }
    std::unique_ptr<Recordset> OpenRecordset(const std::string& query);
    // Runs statements that give no rows.
    void Execute(const std::string& statements);

    // Shrinks the file in place, where owner, mode and whoever opens it meanwhile stay what they are.
    // False, with nothing done, while anybody has it open.
    static bool Compact(const std::string& path);
    // Makes the missing file `path` a copy of `from`; one that another program makes first stays. What
    // a killed program left of an earlier file of that name goes: the engine would put it into this one.
    static void CreateFrom(const std::string& from, const std::string& path);
    // A new file with these statements run.
    static void Create(const std::string& path, const std::string& statements);

private:
    sqlite3* connection_ = nullptr;
    std::string whyNotUpdatable_;
    bool lockedOut_ = false;
};

} // namespace platform
