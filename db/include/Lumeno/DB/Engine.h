// The keyed-record engine under the gallery store: tables of records laid out from field
// definitions, each a data file (NAME.GDB) with an index file (NAME.NDX) of its keys. Keys are
// single segments over a text field, compared without regard to letter case. Every write is a
// transaction with a log; a store whose process died is recovered when it is next opened.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace Lumeno {

// A failure of the gallery store, with the engine's or the system's error code.
class ErrorDb : public std::runtime_error {
public:
    ErrorDb(int code, const std::string& message, bool damaged = false)
        : std::runtime_error(message), code_(code), damaged_(damaged)
    {
    }
    int code() const noexcept { return code_; }
    // Whether the failure says the store's files are damaged (a repair may mend them).
    bool damaged() const noexcept;

private:
    int code_;
    bool damaged_;
};

namespace DB {

enum class FieldForm {
    Bytes, // fixed number of bytes
    Text,  // zero-terminated text of at most size bytes, terminator included
    Block, // variable-length block, stored with a 32-bit length
};

struct FieldDefinition {
    std::string name;
    FieldForm form;
    std::uint32_t size; // bytes for Bytes, the declared maximum for Text, 0 for Block
};

struct KeyDefinition {
    std::size_t field;           // the text field the segment covers
    std::uint32_t segmentLength; // bytes of the field the key holds
    bool duplicates;
};

struct TableDefinition {
    std::string name;                   // file name without extension
    std::vector<FieldDefinition> fields; // in record order; the first is the engine's own flag byte
    std::uint32_t fixedLength;           // bytes of the fixed part
    std::vector<KeyDefinition> keys;     // key 1 first
};

// The error code of an add or rewrite that would duplicate a key that admits no duplicates.
extern const int DuplicateKey;

// Whether two key values are the same key: the engine compares them upper-cased (ASCII letters).
bool sameKey(const std::string& a, const std::string& b);

// One record: each field's bytes (texts without their terminator).
using Record = std::vector<std::string>;
// A record's position in its data file.
using RecordId = std::uint32_t;

class Table {
public:
    virtual ~Table() = default;
    // Adds a record; ErrorDb (code DB_KEYEXIST) when a key that admits no duplicates exists.
    virtual RecordId add(const Record& record) = 0;
    // The record whose key `key` (1-based) equals `value` (letter case aside).
    virtual bool find(int key, const std::string& value, Record& record, RecordId& id) const = 0;
    // The records whose key begins with `prefix`, in key order, from the first such one; `visit`
    // answers false to stop.
    virtual void range(int key, const std::string& prefix,
                       const std::function<bool(RecordId, const Record&)>& visit) const = 0;
    // Every record in the order of their positions (the data file's own order, read without
    // going through an index); `visit` answers false to stop.
    virtual void scan(const std::function<bool(RecordId, const Record&)>& visit) const = 0;
    virtual void rewrite(RecordId id, const Record& record) = 0;
    virtual void remove(RecordId id) = 0;
    virtual std::size_t count() const = 0;
};

// A file of a store that is not sound, and why.
struct StoreProblem {
    std::string file;
    std::string what;
};

// What a repair did.
struct RepairReport {
    std::vector<std::string> lines;  // per table: records kept, saved or lost
    std::string setAside;            // the folder the old files were moved to
    std::size_t duplicatesDropped = 0;
};

class Engine {
public:
    // Opens (creating when missing) the engine's environment in `folder`. The first program to
    // open it (no other one present) sets up its environment anew and recovers the data files
    // from the log, so that neither a killed program nor a damaged environment file is joined.
    // Several programs (and threads) may use one store at once: readers see committed records
    // only and wait at most for one writer's transaction; transactions that wait for each other
    // are told apart and the one that wrote least (a reader's, if any) is run again. A write
    // needs some free space on the disk (ENOSPC otherwise).
    static std::unique_ptr<Engine> open(const std::string& folder);
    // Verifies every file of `tables` and that the store opens; nothing when all is sound. No
    // other program may be writing the store meanwhile.
    static std::vector<StoreProblem> check(const std::string& folder, const std::vector<TableDefinition>& tables);
    // Mends a damaged store: replays the log where it can, takes every record each data file
    // still holds (salvaging damaged ones), sets all old files aside in a folder "Damaged-TIME"
    // and makes a new store of the records, indexes made anew. No other program may use the
    // store meanwhile.
    static RepairReport repair(const std::string& folder, const std::vector<TableDefinition>& tables);
    virtual ~Engine() = default;
    // Opens a table, creating its files from the definition when they do not exist.
    virtual Table& table(const TableDefinition& definition) = 0;
    // Runs `work` as one transaction: every write it makes to any table is kept together, or,
    // when it throws, none is. Reads inside see its writes. Calls nest into the outer one. When
    // it loses a lock conflict with another program, it is undone and `work` runs again: `work`
    // must leave nothing behind outside the store that a second run would not set right.
    virtual void transaction(const std::function<void()>& work) = 0;
    // Closes every table and the environment.
    virtual void close() = 0;
};

// Record layout (exposed for tests): the fixed part, then each variable field.
std::string encodeRecord(const TableDefinition& definition, const Record& record);
Record decodeRecord(const TableDefinition& definition, const std::string& bytes);

} // namespace DB
} // namespace Lumeno
