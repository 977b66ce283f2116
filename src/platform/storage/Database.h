// The database engine, SQLite: a query gives a record set, whose rows can be added, edited and deleted. It uses a
// write-ahead log: after a kill at any moment the database opens with every update that had returned. Failures: 3000
// with the engine's description.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <variant>
#include <vector>

struct sqlite3;
struct sqlite3_stmt;

namespace platform {

using FieldValue = std::variant<std::monostate, std::int64_t, std::string>; // null, number, text

class Database;

// The rows of a query "SELECT * FROM <table> [WHERE ...]", a single statement. The first row is current initially.
class Recordset {
public:
    ~Recordset();
    bool AtEnd() const;
    void MoveFirst();
    void MoveLast();
    // A field of the current row. Failure for an unknown name.
    FieldValue Field(const std::string& name) const;
    std::string Text(const std::string& name) const; // "" for null
    // Begins a new row or an edit of the current one; after SetField, Update stores it.
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
    // Opens an existing file for reading and writing, shared. Failure if it doesn't exist or isn't a database.
    explicit Database(const std::string& path);
    ~Database();
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;
    // If only another program's lock prevented writing, this tries again.
    bool Updatable();
    // The system's reason if it can only be read; else "".
    const std::string& WhyNotUpdatable() const { return whyNotUpdatable_; }
    std::unique_ptr<Recordset> OpenRecordset(const std::string& query);
    // Runs statements that return no rows.
    void Execute(const std::string& statements);

    // The rows of any query, values by column. The file isn't written, and other programs may write it meanwhile.
    // Failure if it doesn't exist or isn't a database, or if it stays locked for two seconds.
    static std::vector<std::vector<FieldValue>> Read(const std::string& path, const std::string& query);
    // Shrinks the file in place, which keeps owner and mode and is safe if another program opens it meanwhile. False,
    // with nothing done, while it is open anywhere.
    [[nodiscard]] static bool Compact(const std::string& path);
    // Creates `path` as a copy of `from` unless another program does so first. What a killed program left of an earlier
    // file of that name is removed: the engine would merge it into this one.
    static void CreateFrom(const std::string& from, const std::string& path);
    // Creates the file and runs the statements in it.
    static void Create(const std::string& path, const std::string& statements);

private:
    sqlite3* connection_ = nullptr;
    std::string whyNotUpdatable_;
    bool lockedOut_ = false;
};

} // namespace platform
