#include "Lumeno/DB/Engine.h"

#include <Lumeno/Platform/Services.h>

#include <db_cxx.h>

#include <algorithm>
#include <cctype>
#include <chrono>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <map>
#include <optional>
#include <random>
#include <sstream>
#include <thread>

namespace fs = std::filesystem;

namespace Lumeno {

bool ErrorDb::damaged() const noexcept
{
    return damaged_;
}

namespace DB {

const int DuplicateKey = DB_KEYEXIST;

namespace {

// The engine's own words about what went wrong (which file, which page), kept per thread for
// the error that follows them. The engine never prints anything itself.
thread_local std::string t_engineMessage;

void keepMessage(const DbEnv*, const char*, const char* message)
{
    // A fault is often told in several messages in a row; the last few say what and where.
    if (message == nullptr) {
        return;
    }
    if (!t_engineMessage.empty()) {
        t_engineMessage += "; ";
    }
    t_engineMessage += message;
    if (t_engineMessage.size() > 600) {
        t_engineMessage.erase(0, t_engineMessage.size() - 600);
    }
}

// Lock conflicts that the engine resolves by choosing a loser: the loser's transaction is
// undone and run again.
bool retryable(int code)
{
    return code == DB_LOCK_DEADLOCK || code == DB_LOCK_NOTGRANTED;
}

// Failures that say nothing against the store's files: the disk, rights, other programs, the
// caller's own request. Any other failure of the engine on the store's files means that they are
// damaged.
bool aboutTheFiles(int code)
{
    switch (code) {
    case ENOSPC:
    case ENOMEM:
#ifdef EDQUOT
    case EDQUOT:
#endif
    case EACCES:
    case EPERM:
    case EROFS:
    case ENOENT:
    case EEXIST:
    case EAGAIN:
    case DB_LOCK_DEADLOCK:
    case DB_LOCK_NOTGRANTED:
    case DB_KEYEXIST:
    case DB_NOTFOUND:
        return false;
    default:
        return true;
    }
}

// What a user does about a damaged store.
const char* const RepairAdvice =
    ". The gallery store is damaged: 'lumeno gallery check' tells what is wrong, and "
    "'lumeno gallery repair' mends it (the damaged files are kept aside)";

[[noreturn]] void fail(int code, const std::string& what)
{
    std::string message = what + ": " + db_strerror(code);
    if (!t_engineMessage.empty() && t_engineMessage != db_strerror(code)) {
        message += " (" + t_engineMessage + ")";
    }
    t_engineMessage.clear();
    const bool damaged = aboutTheFiles(code);
    throw ErrorDb(code, damaged ? message + RepairAdvice : message, damaged);
}

// A table whose files do not open is damaged, whatever the engine's code says (a file cut in
// half can show as too little memory).
[[noreturn]] void failToOpen(int code, const std::string& what)
{
    if (code == ENOMEM) {
        code = DB_VERIFY_BAD;
    }
    fail(code, what);
}

void succeed(int code, const std::string& what)
{
    if (code != 0) {
        fail(code, what);
    }
}

// A waiting lock gives up after this long (a program that stopped while holding one); the
// transaction is then tried again, up to MaxAttempts times in all.
constexpr db_timeout_t LockTimeoutMicroseconds = 5 * 1000 * 1000;
constexpr int MaxAttempts = 12;

// Runs `work` again while it loses a lock conflict, waiting a little (and a random part of it, so
// that two losers do not meet again at once) before each new try.
template <class Work> void withRetries(const std::string& folder, Work work)
{
    thread_local std::minstd_rand random(static_cast<unsigned>(std::random_device{}()));
    for (int attempt = 1;; ++attempt) {
        try {
            work();
            return;
        } catch (const ErrorDb& e) {
            if (!retryable(e.code())) {
                throw;
            }
            if (attempt >= MaxAttempts) {
                throw ErrorDb(e.code(), "the gallery store in " + folder +
                                            " is busy: another program has held it for too long (" + e.what() + ")");
            }
            const int base = std::min(1 << std::min(attempt, 8), 200);
            std::this_thread::sleep_for(std::chrono::milliseconds(base + static_cast<int>(random() % 50)));
        }
    }
}

void put32(std::string& out, std::uint32_t v)
{
    for (int i = 0; i < 4; ++i) {
        out += static_cast<char>((v >> (8 * i)) & 0xFF);
    }
}

std::uint32_t get32(const std::string& in, std::size_t at)
{
    std::uint32_t v = 0;
    for (int i = 0; i < 4; ++i) {
        v |= static_cast<std::uint32_t>(static_cast<unsigned char>(in[at + static_cast<std::size_t>(i)])) << (8 * i);
    }
    return v;
}

// A record number's buffer, filled by the engine in place.
Dbt recordNumber(db_recno_t& number)
{
    Dbt dbt(&number, sizeof number);
    dbt.set_ulen(sizeof number);
    dbt.set_flags(DB_DBT_USERMEM);
    return dbt;
}

std::string upper(std::string s)
{
    // ASCII letters only: other bytes compare as they are.
    for (char& c : s) {
        if (c >= 'a' && c <= 'z') {
            c = static_cast<char>(c - 'a' + 'A');
        }
    }
    return s;
}

} // namespace

bool sameKey(const std::string& a, const std::string& b)
{
    return a.size() == b.size() && upper(a) == upper(b);
}

std::string encodeRecord(const TableDefinition& definition, const Record& record)
{
    if (record.size() != definition.fields.size()) {
        throw ErrorDb(EINVAL, "record of " + definition.name + " has " + std::to_string(record.size()) + " fields");
    }
    std::string out;
    for (std::size_t i = 0; i < record.size(); ++i) {
        const FieldDefinition& f = definition.fields[i];
        const std::string& v = record[i];
        switch (f.form) {
        case FieldForm::Bytes: {
            std::string bytes = v;
            bytes.resize(f.size, '\0');
            out += bytes;
            break;
        }
        case FieldForm::Text:
            if (v.size() + 1 > f.size || v.find('\0') != std::string::npos) {
                throw ErrorDb(EINVAL, definition.name + "." + f.name + ": text of " + std::to_string(v.size()) +
                                          " bytes does not fit " + std::to_string(f.size - 1));
            }
            out += v;
            out += '\0';
            break;
        case FieldForm::Block:
            put32(out, static_cast<std::uint32_t>(v.size()));
            out += v;
            break;
        }
    }
    return out;
}

Record decodeRecord(const TableDefinition& definition, const std::string& bytes)
{
    Record record;
    std::size_t at = 0;
    auto broken = [&] { return ErrorDb(EILSEQ, "a record of " + definition.name + " is damaged" + RepairAdvice, true); };
    for (const FieldDefinition& f : definition.fields) {
        switch (f.form) {
        case FieldForm::Bytes:
            if (bytes.size() - at < f.size) {
                throw broken();
            }
            record.push_back(bytes.substr(at, f.size));
            at += f.size;
            break;
        case FieldForm::Text: {
            const std::size_t end = bytes.find('\0', at);
            if (end == std::string::npos) {
                throw broken();
            }
            record.push_back(bytes.substr(at, end - at));
            at = end + 1;
            break;
        }
        case FieldForm::Block: {
            if (bytes.size() - at < 4) {
                throw broken();
            }
            const std::uint32_t n = get32(bytes, at);
            at += 4;
            if (bytes.size() - at < n) {
                throw broken();
            }
            record.push_back(bytes.substr(at, n));
            at += n;
            break;
        }
        }
    }
    return record;
}

namespace {

// What a secondary index needs to find its key in a record.
struct KeyInfo {
    const TableDefinition* definition;
    std::size_t field;
    std::uint32_t segmentLength;
};

int extractKey(Db* secondary, const Dbt*, const Dbt* data, Dbt* result)
{
    const auto* info = static_cast<const KeyInfo*>(secondary->get_app_private());
    try {
        const Record record =
            decodeRecord(*info->definition, std::string(static_cast<const char*>(data->get_data()), data->get_size()));
        std::string key = upper(record[info->field]).substr(0, info->segmentLength);
        void* copy = std::malloc(key.size() + 1);
        if (copy == nullptr) {
            return ENOMEM;
        }
        std::memcpy(copy, key.c_str(), key.size() + 1);
        result->set_data(copy);
        result->set_size(static_cast<u_int32_t>(key.size()));
        result->set_flags(DB_DBT_APPMALLOC);
        return 0;
    } catch (...) {
        return EINVAL;
    }
}

// Why a store might be in no state to be written: too little room for its files to grow. The
// engine maps parts of its environment into memory, and a mapped file that cannot grow on a full
// disk would end the program with a bus error instead of an error code; so a write needs room for
// everything its environment may still grow by (the cache of 16 MB, 4 MB of locks and transaction
// details, a log file of 2 MB) before it starts.
constexpr std::uint64_t RequiredFreeSpace = 24u << 20;

void ensureRoom(const std::string& folder)
{
    std::uint64_t free = 0;
    try {
        free = Platform::services().freeSpace(folder);
    } catch (const std::system_error&) {
        return; // the system cannot say: the engine's own errors will
    }
    if (free < RequiredFreeSpace) {
        throw ErrorDb(ENOSPC, "the gallery store in " + folder + ": " + std::strerror(ENOSPC) + " (" +
                                  std::to_string(free >> 10) + " KB free; it needs " +
                                  std::to_string(RequiredFreeSpace >> 20) + " MB)");
    }
}

class BerkeleyTable final : public Table {
public:
    BerkeleyTable(DbEnv& env, DbTxn* const& current, const std::string& folder, const TableDefinition& definition)
        : env_(env), current_(current), folder_(folder), definition_(definition)
    {
        const std::string what =
            "cannot open the table " + definition_.name + " (" + files() + ") of the gallery store in " + folder;
        withRetries(folder_, [&] {
            DbTxn* txn = nullptr;
            succeed(env_.txn_begin(nullptr, &txn, 0), what);
            const int r = openFiles(txn, what);
            if (r != 0) {
                txn->abort();
                closeFiles();
                if (retryable(r)) {
                    fail(r, what);
                }
                failToOpen(r, what);
            }
            succeed(txn->commit(0), what);
        });
    }

    ~BerkeleyTable() override { closeFiles(); }

    RecordId add(const Record& record) override
    {
        const std::string bytes = encodeRecord(definition_, record);
        db_recno_t number = 0;
        writing("add a record to", [&](DbTxn* txn) {
            Dbt key = recordNumber(number);
            Dbt data(const_cast<char*>(bytes.data()), static_cast<u_int32_t>(bytes.size()));
            const int clash = uniqueKeysTaken(txn, record, 0);
            return clash != 0 ? clash : primary_->put(txn, &key, &data, DB_APPEND);
        });
        return number;
    }

    bool find(int keyNumber, const std::string& value, Record& record, RecordId& id) const override
    {
        bool found = false;
        range(keyNumber, value, [&](RecordId candidate, const Record& r) {
            const KeyDefinition& key = definition_.keys[static_cast<std::size_t>(keyNumber - 1)];
            if (upper(r[key.field]).substr(0, key.segmentLength) == upper(value).substr(0, key.segmentLength)) {
                record = r;
                id = candidate;
                found = true;
            }
            return false; // only the first in key order can be equal
        });
        return found;
    }

    void range(int keyNumber, const std::string& prefix,
               const std::function<bool(RecordId, const Record&)>& visit) const override
    {
        if (keyNumber < 1 || static_cast<std::size_t>(keyNumber) > indexes_.size()) {
            throw ErrorDb(EINVAL, definition_.name + " has no key " + std::to_string(keyNumber));
        }
        const std::string start = upper(prefix);
        Db& index = *indexes_[static_cast<std::size_t>(keyNumber - 1)];
        if (current_ != nullptr) {
            walk(index, current_, start, nullptr, [&](RecordId id, const std::string&, const std::string& bytes) {
                return visit(id, decodeRecord(definition_, bytes));
            });
            return;
        }
        batched(visit, [&](DbTxn* txn, const Taken* last, const std::function<bool(Taken&&)>& take) {
            const std::optional<Position> after =
                last != nullptr ? std::optional<Position>(Position{last->key, static_cast<db_recno_t>(last->id)}) : std::nullopt;
            return walk(index, txn, start, after ? &*after : nullptr,
                        [&](RecordId id, const std::string& key, const std::string& bytes) {
                            return take(Taken{id, key, bytes});
                        });
        });
    }

    void scan(const std::function<bool(RecordId, const Record&)>& visit) const override
    {
        auto read = [&](DbTxn* txn, const Taken* last, const std::function<bool(Taken&&)>& take) {
            return withCursor(*primary_, txn, [&](Dbc* cursor) {
                db_recno_t number = last != nullptr ? static_cast<db_recno_t>(last->id) : 0;
                Dbt key = recordNumber(number);
                Dbt data;
                data.set_flags(DB_DBT_MALLOC);
                // Resuming at the record last handed out; when it went meanwhile, from the first
                // one, passing over those already handed out (record numbers only grow).
                int flag = last != nullptr ? DB_SET : DB_FIRST;
                for (;;) {
                    const int r = cursor->get(&key, &data, flag);
                    if ((r == DB_NOTFOUND || r == DB_KEYEMPTY) && flag == DB_SET) {
                        flag = DB_FIRST;
                        continue;
                    }
                    flag = DB_NEXT;
                    if (r == DB_NOTFOUND) {
                        return false;
                    }
                    succeed(r, "cannot read " + describe());
                    std::string bytes = takeBytes(data);
                    if (last != nullptr && number <= last->id) {
                        continue;
                    }
                    if (!take(Taken{number, std::string(), std::move(bytes)})) {
                        return true;
                    }
                }
            });
        };
        if (current_ != nullptr) {
            read(current_, nullptr, [&](Taken&& taken) { return visit(taken.id, decodeRecord(definition_, taken.bytes)); });
            return;
        }
        batched(visit, read);
    }

    void rewrite(RecordId id, const Record& record) override
    {
        const std::string bytes = encodeRecord(definition_, record);
        writing("rewrite a record of", [&](DbTxn* txn) {
            db_recno_t number = id;
            Dbt key(&number, sizeof number);
            Dbt data(const_cast<char*>(bytes.data()), static_cast<u_int32_t>(bytes.size()));
            const int clash = uniqueKeysTaken(txn, record, id);
            return clash != 0 ? clash : primary_->put(txn, &key, &data, 0);
        });
    }

    void remove(RecordId id) override
    {
        writing("delete a record of", [&](DbTxn* txn) {
            db_recno_t number = id;
            Dbt key(&number, sizeof number);
            return primary_->del(txn, &key, 0);
        });
    }

    std::size_t count() const override
    {
        std::size_t n = 0;
        reading([&](DbTxn* txn) {
            DB_BTREE_STAT* stat = nullptr;
            succeed(primary_->stat(txn, &stat, 0), "cannot count the records of " + describe());
            n = stat->bt_nkeys;
            std::free(stat);
        });
        return n;
    }

private:
    std::string files() const { return definition_.name + ".GDB, " + definition_.name + ".NDX"; }
    std::string describe() const { return definition_.name + " (" + files() + ") in " + folder_; }

    // Fresh handles each time: a handle whose open failed cannot be opened again.
    int openFiles(DbTxn* txn, const std::string& what)
    {
        primary_ = std::make_unique<Db>(&env_, 0);
        // Pages carry checksums, so that a damaged page is reported rather than read.
        succeed(primary_->set_flags(DB_CHKSUM), what);
        if (const int r = primary_->open(txn, (definition_.name + ".GDB").c_str(), nullptr, DB_RECNO,
                                         DB_CREATE | DB_THREAD, 0644);
            r != 0) {
            return r;
        }
        for (std::size_t k = 0; k < definition_.keys.size(); ++k) {
            const KeyDefinition& key = definition_.keys[k];
            infos_.push_back(std::make_unique<KeyInfo>(KeyInfo{&definition_, key.field, key.segmentLength}));
            auto index = std::make_unique<Db>(&env_, 0);
            index->set_app_private(infos_.back().get());
            succeed(index->set_flags(DB_CHKSUM | (key.duplicates ? DB_DUPSORT : 0)), what);
            succeed(index->set_pagesize(4096), what); // the index file grows a page of 4096 bytes at a time
            if (const int r = index->open(txn, (definition_.name + ".NDX").c_str(), ("key" + std::to_string(k + 1)).c_str(),
                                          DB_BTREE, DB_CREATE | DB_THREAD, 0644);
                r != 0) {
                index->close(0);
                return r;
            }
            // An empty index (a new one, or one set up anew) is filled from the data file.
            if (const int r = primary_->associate(txn, index.get(), extractKey, DB_CREATE); r != 0) {
                index->close(0);
                return r;
            }
            indexes_.push_back(std::move(index));
        }
        return 0;
    }

    void closeFiles()
    {
        for (auto& index : indexes_) {
            index->close(0);
        }
        indexes_.clear();
        infos_.clear();
        if (primary_) {
            primary_->close(0);
            primary_.reset();
        }
    }

    // DB_KEYEXIST when a key that admits no duplicates already belongs to a record other than
    // `self` (0 for none). Checked first because the engine reports a clash in a secondary
    // index of an appended record only as an invalid argument.
    int uniqueKeysTaken(DbTxn* txn, const Record& record, RecordId self)
    {
        for (std::size_t k = 0; k < definition_.keys.size(); ++k) {
            const KeyDefinition& keyDefinition = definition_.keys[k];
            if (keyDefinition.duplicates) {
                continue;
            }
            std::string value = upper(record[keyDefinition.field]).substr(0, keyDefinition.segmentLength);
            Dbt key(&value[0], static_cast<u_int32_t>(value.size()));
            db_recno_t owner = 0;
            Dbt primaryKey = recordNumber(owner);
            Dbt data;
            data.set_flags(DB_DBT_MALLOC);
            const int r = indexes_[k]->pget(txn, &key, &primaryKey, &data, DB_RMW);
            std::free(data.get_data());
            if (r == 0 && owner != self) {
                return DB_KEYEXIST;
            }
            if (r != 0 && r != DB_NOTFOUND) {
                return r;
            }
        }
        return 0;
    }

    // A write: part of the engine's open transaction, or a transaction of its own (tried again
    // when it loses a lock conflict).
    template <class Write> void writing(const char* verb, Write write)
    {
        const std::string what = std::string("cannot ") + verb + " " + describe();
        if (current_ != nullptr) {
            succeed(write(current_), what); // the open transaction is undone as a whole
            return;
        }
        ensureRoom(folder_);
        withRetries(folder_, [&] {
            DbTxn* txn = nullptr;
            succeed(env_.txn_begin(nullptr, &txn, 0), what);
            const int r = write(txn);
            if (r != 0) {
                txn->abort();
                fail(r, what);
            }
            succeed(txn->commit(0), what);
        });
    }

    // Where a walk through an index stopped: the key and record number last handed out.
    struct Position {
        std::string key;
        db_recno_t number;
    };

    // A record read, with the key it was found by (none for the data file's own order).
    struct Taken {
        RecordId id;
        std::string key;
        std::string bytes;
    };

    // Outside a transaction of ours a walk goes a batch of records at a time, each batch read in
    // a transaction of its own and handed out after it ended: a reader holds no page while the
    // caller works, and when the engine undoes a batch (a writer and the reader waited for each
    // other) it is read again from where the last one ended, with no record handed out twice.
    // read(txn, last, take) hands records after `last` (from the first when null) to take until
    // it answers false, and says whether take stopped it.
    template <class Read>
    void batched(const std::function<bool(RecordId, const Record&)>& visit, Read read) const
    {
        constexpr std::size_t Batch = 256;
        std::optional<Taken> last;
        for (;;) {
            std::vector<Taken> batch;
            bool more = false;
            reading([&](DbTxn* txn) {
                batch.clear();
                more = read(txn, last ? &*last : nullptr, [&](Taken&& taken) {
                    batch.push_back(std::move(taken));
                    return batch.size() < Batch;
                });
            });
            for (const Taken& taken : batch) {
                if (!visit(taken.id, decodeRecord(definition_, taken.bytes))) {
                    return;
                }
            }
            if (!more || batch.empty()) {
                return;
            }
            last = std::move(batch.back());
        }
    }

    // Walks `index` in `txn` from the first key at or after `start` (or from just after
    // `after`), handing each record whose key begins with `start` to take(id, key, bytes) until
    // it answers false. Whether take stopped it (records may remain).
    template <class Take>
    bool walk(Db& index, DbTxn* txn, const std::string& start, const Position* after, Take take) const
    {
        return withCursor(index, txn, [&](Dbc* cursor) {
            const std::string& from = after != nullptr ? after->key : start;
            std::string keyBuffer = from;
            keyBuffer.resize(std::max<std::size_t>(keyBuffer.size(), 1024));
            Dbt key(&keyBuffer[0], static_cast<u_int32_t>(from.size()));
            key.set_ulen(static_cast<u_int32_t>(keyBuffer.size()));
            key.set_flags(DB_DBT_USERMEM);
            db_recno_t number = after != nullptr ? after->number : 0;
            Dbt primaryKey = recordNumber(number);
            Dbt data;
            data.set_flags(DB_DBT_MALLOC);
            // Resuming: at the record last handed out, or at the first after it among the records
            // of the same key; when there is none, at the next key.
            enum { None, That, WholeKey } skip = after != nullptr ? That : None;
            int flag = after != nullptr ? DB_GET_BOTH_RANGE : DB_SET_RANGE;
            for (;;) {
                const int r = cursor->pget(&key, &primaryKey, &data, flag);
                if (r == DB_NOTFOUND && flag == DB_GET_BOTH_RANGE) {
                    std::copy(from.begin(), from.end(), keyBuffer.begin());
                    key.set_size(static_cast<u_int32_t>(from.size()));
                    flag = DB_SET_RANGE;
                    skip = WholeKey;
                    continue;
                }
                flag = DB_NEXT;
                if (r == DB_NOTFOUND) {
                    return false;
                }
                succeed(r, "cannot read " + describe());
                const std::string found(static_cast<const char*>(key.get_data()), key.get_size());
                const std::string bytes = takeBytes(data);
                if (skip != None) {
                    if (found == after->key && (skip == WholeKey || number == after->number)) {
                        if (skip == That) {
                            skip = None;
                        }
                        continue;
                    }
                    skip = None;
                }
                if (found.compare(0, start.size(), start) != 0) {
                    return false;
                }
                if (!take(number, found, bytes)) {
                    return true;
                }
            }
        });
    }

    // Runs walk(cursor) over a cursor of `db` in `txn`, the cursor closed whatever happens; what
    // walk answers (whether it stopped before the end).
    template <class Walk> bool withCursor(Db& db, DbTxn* txn, Walk walk) const
    {
        Dbc* cursor = nullptr;
        succeed(db.cursor(txn, &cursor, 0), "cannot read " + describe());
        bool stopped = false;
        try {
            stopped = walk(cursor);
        } catch (...) {
            cursor->close();
            throw;
        }
        succeed(cursor->close(), "cannot read " + describe());
        return stopped;
    }

    // The bytes the engine allocated for a read, taken over (and its memory given back).
    static std::string takeBytes(Dbt& data)
    {
        std::string bytes(static_cast<const char*>(data.get_data()), data.get_size());
        std::free(data.get_data());
        data.set_data(nullptr);
        return bytes;
    }

    // A read: inside the engine's open transaction (which sees its own writes), or in one of its
    // own that sees only committed records and keeps a page locked only while it reads it. A
    // writer's transaction is one picture's records, so a reader waits for one at most that
    // long, and never holds a page that a writer waits for longer than it takes to read it.
    // (Snapshots would spare even that wait, but the engine then keeps every page's committed
    // versions and searches them for room on each new page: syncing grew from 120 to 330 µs a
    // picture over 50,000 pictures.)
    template <class Read> void reading(Read read) const
    {
        if (current_ != nullptr) {
            read(current_);
            return;
        }
        withRetries(folder_, [&] {
            DbTxn* txn = nullptr;
            succeed(env_.txn_begin(nullptr, &txn, DB_READ_COMMITTED), "cannot read " + describe());
            try {
                read(txn);
            } catch (...) {
                txn->abort();
                throw;
            }
            succeed(txn->commit(0), "cannot read " + describe());
        });
    }

    DbEnv& env_;
    DbTxn* const& current_; // the engine's open transaction, if any
    std::string folder_;
    TableDefinition definition_;
    std::unique_ptr<Db> primary_;
    std::vector<std::unique_ptr<KeyInfo>> infos_;
    std::vector<std::unique_ptr<Db>> indexes_;
};

// The files of the environment (regions, the register of processes) and of the log.
bool isEnvironmentFile(const std::string& name)
{
    return name.rfind("__db.", 0) == 0;
}
bool isLogFile(const std::string& name)
{
    return name.rfind("log.", 0) == 0;
}

class BerkeleyEngine final : public Engine {
public:
    explicit BerkeleyEngine(const std::string& folder) : folder_(folder), env_(DB_CXX_NO_EXCEPTIONS)
    {
        std::error_code ec;
        fs::create_directories(fs::u8path(folder), ec);
        if (ec) {
            throw ErrorDb(ec.value(), "cannot make the gallery store's folder " + folder + ": " + ec.message());
        }
        const std::string what = "cannot open the gallery store in " + folder;
        env_.set_errcall(keepMessage);
        // A process that dies leaves the log: recovery replays it, so every committed write
        // survives. The log is written at each commit but not forced to the disk (the system
        // keeps it), which a killed process cannot lose.
        succeed(env_.set_flags(DB_TXN_WRITE_NOSYNC, 1), what);
        // Region files are written out in full when made, rather than left with holes that a
        // full disk could not fill when they are touched.
        succeed(env_.set_flags(DB_REGION_INIT, 1), what);
        succeed(env_.set_cachesize(0, 16 * 1024 * 1024, 1), what);
        // Room for the transactions of many programs and threads at once, and for the locks of
        // large ones (a gallery renamed with thousands of pictures).
        succeed(env_.set_tx_max(512), what);
        succeed(env_.set_lk_max_locks(10000), what);
        succeed(env_.set_lk_max_objects(10000), what);
        succeed(env_.set_lk_max_lockers(2000), what);
        succeed(env_.set_lg_max(2 * 1024 * 1024), what);
        // Transactions that wait for each other are found at once, and the one that wrote least
        // is undone (a reader, which reads its batch again, rather than a writer); one that
        // waits on a stopped program gives up after a while.
        succeed(env_.set_lk_detect(DB_LOCK_MINWRITE), what);
        succeed(env_.set_timeout(LockTimeoutMicroseconds, DB_SET_LOCK_TIMEOUT), what);
        // Logs that a checkpoint has made unnecessary are deleted, so the store does not grow
        // by its history.
        succeed(env_.log_set_config(DB_LOG_AUTO_REMOVE, 1), what);

        // Openers take turns. The first of them (no other program registered in the store) sets
        // up the environment anew and recovers the data files from the log: whatever state a
        // killed or damaged program left the environment in is not joined.
        std::unique_ptr<Platform::FileLock> turn;
        try {
            turn = Platform::services().lockFile((fs::u8path(folder) / "__lumeno.open").u8string());
        } catch (const std::system_error& e) {
            throw ErrorDb(e.code().value(), what + ": " + e.what());
        }
        u_int32_t flags = DB_CREATE | DB_INIT_TXN | DB_INIT_LOG | DB_INIT_LOCK | DB_INIT_MPOOL | DB_THREAD | DB_REGISTER;
        const std::string registry = (fs::u8path(folder) / "__db.register").u8string();
        if (!Platform::services().lockedByOthers(registry)) {
            removeEnvironmentFiles(folder);
            ensureRoom(folder);
            flags |= DB_RECOVER;
        }
        succeed(env_.open(folder.c_str(), flags, 0644), what);
    }

    ~BerkeleyEngine() override { close(); }

    Table& table(const TableDefinition& definition) override
    {
        auto found = tables_.find(definition.name);
        if (found != tables_.end()) {
            return *found->second;
        }
        auto table = std::make_unique<BerkeleyTable>(env_, current_, folder_, definition);
        return *tables_.emplace(definition.name, std::move(table)).first->second;
    }

    void transaction(const std::function<void()>& work) override
    {
        if (current_ != nullptr) {
            work();
            return;
        }
        ensureRoom(folder_);
        withRetries(folder_, [&] {
            DbTxn* txn = nullptr;
            succeed(env_.txn_begin(nullptr, &txn, 0), "cannot begin a transaction in the gallery store in " + folder_);
            current_ = txn;
            try {
                work();
            } catch (...) {
                current_ = nullptr;
                txn->abort();
                throw;
            }
            current_ = nullptr;
            succeed(txn->commit(0), "cannot commit a transaction in the gallery store in " + folder_);
        });
    }

    void close() override
    {
        if (closed_) {
            return;
        }
        closed_ = true;
        tables_.clear();
        env_.txn_checkpoint(0, 0, 0);
        env_.close(0);
    }

    // The environment's regions, which the next opener makes anew. The register of processes
    // stays: it is how the next opener knows whether others are present.
    static void removeEnvironmentFiles(const std::string& folder)
    {
        std::error_code ec;
        for (const auto& entry : fs::directory_iterator(fs::u8path(folder), ec)) {
            const std::string name = entry.path().filename().u8string();
            if (isEnvironmentFile(name) && name != "__db.register") {
                fs::remove(entry.path(), ec);
            }
        }
    }

private:
    std::string folder_;
    DbEnv env_;
    std::map<std::string, std::unique_ptr<BerkeleyTable>> tables_;
    DbTxn* current_ = nullptr;
    bool closed_ = false;
};

// ---- checking and mending ---------------------------------------------------------------

// The engine's verification of one file, without an environment; empty when it is sound.
std::string verifyFile(const fs::path& file)
{
    Db db(nullptr, DB_CXX_NO_EXCEPTIONS);
    db.set_errcall(keepMessage);
    t_engineMessage.clear();
    std::ostringstream ignored;
    const int r = db.verify(file.u8string().c_str(), nullptr, &ignored, 0);
    if (r == 0) {
        return {};
    }
    std::string why = t_engineMessage.empty() ? db_strerror(r) : t_engineMessage;
    t_engineMessage.clear();
    return why;
}

// Hex digits of the engine's dump format to bytes.
std::string fromHex(const std::string& hex)
{
    std::string bytes;
    const auto digit = [](char c) { return c <= '9' ? c - '0' : (c | 0x20) - 'a' + 10; };
    for (std::size_t i = 0; i + 1 < hex.size(); i += 2) {
        bytes += static_cast<char>(digit(hex[i]) * 16 + digit(hex[i + 1]));
    }
    return bytes;
}

// What a damaged data file still holds, through the engine's salvage: every record it can still
// find, as the dump format writes it (a line of the key, a line of the data, both in hex).
std::vector<Record> salvage(const fs::path& file, const TableDefinition& definition, std::size_t& lost)
{
    Db db(nullptr, DB_CXX_NO_EXCEPTIONS);
    db.set_errcall(keepMessage);
    std::ostringstream dump;
    db.verify(file.u8string().c_str(), nullptr, &dump, DB_SALVAGE | DB_AGGRESSIVE);
    std::istringstream lines(dump.str());
    std::vector<Record> records;
    bool inData = false;
    bool isKey = true;
    for (std::string line; std::getline(lines, line);) {
        if (line == "HEADER=END") {
            inData = true;
            isKey = true;
            continue;
        }
        if (line == "DATA=END") {
            inData = false;
            continue;
        }
        if (!inData || line.empty() || line[0] != ' ') {
            continue;
        }
        if (isKey) {
            isKey = false;
            continue;
        }
        isKey = true;
        try {
            records.push_back(decodeRecord(definition, fromHex(line.substr(1))));
        } catch (const ErrorDb&) {
            ++lost;
        }
    }
    return records;
}

// Every record of a data file, read without an environment; false when the file cannot be read
// as a whole.
bool readAll(const fs::path& file, const TableDefinition& definition, std::vector<Record>& records)
{
    Db db(nullptr, DB_CXX_NO_EXCEPTIONS);
    db.set_errcall(keepMessage);
    if (db.open(nullptr, file.u8string().c_str(), nullptr, DB_RECNO, DB_RDONLY, 0) != 0) {
        return false;
    }
    Dbc* cursor = nullptr;
    bool whole = db.cursor(nullptr, &cursor, 0) == 0;
    if (whole) {
        db_recno_t number = 0;
        Dbt key = recordNumber(number);
        Dbt data;
        data.set_flags(DB_DBT_MALLOC);
        int r = cursor->get(&key, &data, DB_FIRST);
        for (; r == 0; r = cursor->get(&key, &data, DB_NEXT)) {
            const std::string bytes(static_cast<const char*>(data.get_data()), data.get_size());
            std::free(data.get_data());
            data.set_data(nullptr);
            try {
                records.push_back(decodeRecord(definition, bytes));
            } catch (const ErrorDb&) {
                whole = false;
            }
        }
        whole = whole && r == DB_NOTFOUND;
        cursor->close();
    }
    db.close(0);
    return whole;
}

std::string timeStamp()
{
    const std::time_t now = std::time(nullptr);
    std::tm local{};
#ifdef _WIN32
    localtime_s(&local, &now);
#else
    localtime_r(&now, &local);
#endif
    char text[32];
    std::strftime(text, sizeof text, "%Y%m%d-%H%M%S", &local);
    return text;
}

} // namespace

std::unique_ptr<Engine> Engine::open(const std::string& folder)
{
    return std::make_unique<BerkeleyEngine>(folder);
}

std::vector<StoreProblem> Engine::check(const std::string& folder, const std::vector<TableDefinition>& tables)
{
    std::vector<StoreProblem> problems;
    // A program killed in the middle of a transaction leaves pages in the files that only the log
    // sets right: the store is recovered first, as its next opener would recover it, and only
    // then are its files verified. A log that cannot be replayed is told below, with the files.
    std::string unrecovered;
    try {
        auto engine = Engine::open(folder);
        engine->close();
    } catch (const ErrorDb& e) {
        unrecovered = e.what();
    }
    for (const TableDefinition& table : tables) {
        // A table not made yet (a program stopped while it made the store) is made by the next
        // opener, and a missing index is made anew from its data file; a data file missing
        // beside its index is records lost.
        const fs::path data = fs::u8path(folder) / fs::u8path(table.name + ".GDB");
        const fs::path index = fs::u8path(folder) / fs::u8path(table.name + ".NDX");
        std::error_code ec;
        const bool hasData = fs::exists(data, ec);
        const bool hasIndex = fs::exists(index, ec);
        if (!hasData && hasIndex) {
            problems.push_back({data.filename().u8string(), "missing, while its index is there"});
        }
        for (const fs::path& file : {data, index}) {
            if (fs::exists(file, ec)) {
                if (const std::string why = verifyFile(file); !why.empty()) {
                    problems.push_back({file.filename().u8string(), why});
                }
            }
        }
    }
    if (!unrecovered.empty()) {
        problems.push_back({"environment and log", unrecovered});
    }
    // The environment and the log: the store must open, and its tables be read.
    if (problems.empty()) {
        try {
            auto engine = Engine::open(folder);
            for (const TableDefinition& table : tables) {
                engine->table(table).count();
            }
            engine->close();
        } catch (const ErrorDb& e) {
            problems.push_back({"environment and log", e.what()});
        }
    }
    return problems;
}

RepairReport Engine::repair(const std::string& folder, const std::vector<TableDefinition>& tables)
{
    RepairReport report;
    const fs::path store = fs::u8path(folder);
    // First what recovery from the log can do: committed work the data files lack is put into
    // them. A store whose environment or log is what is damaged goes on without.
    try {
        auto engine = Engine::open(folder);
        engine->close();
    } catch (const ErrorDb& e) {
        report.lines.push_back(std::string("the log could not be replayed: ") + e.what());
    }

    // Every record each data file still holds.
    std::map<std::string, std::vector<Record>> kept;
    t_engineMessage.clear();
    for (const TableDefinition& table : tables) {
        const fs::path file = store / fs::u8path(table.name + ".GDB");
        std::error_code ec;
        std::vector<Record> records;
        if (!fs::exists(file, ec)) {
            report.lines.push_back(table.name + ".GDB is missing: its table starts empty");
        } else if (verifyFile(file).empty() && readAll(file, table, records)) {
            report.lines.push_back(table.name + ": " + std::to_string(records.size()) + " records kept");
        } else {
            std::size_t lost = 0;
            records = salvage(file, table, lost);
            report.lines.push_back(table.name + ".GDB was damaged: " + std::to_string(records.size()) +
                                   " records saved" + (lost > 0 ? ", " + std::to_string(lost) + " lost" : std::string()));
        }
        kept[table.name] = std::move(records);
    }

    // The old files are set aside, never deleted: what the repair could not save is still there.
    const fs::path aside = store / fs::u8path("Damaged-" + timeStamp());
    std::error_code ec;
    fs::create_directories(aside, ec);
    if (ec) {
        throw ErrorDb(ec.value(), "cannot set the damaged files aside in " + aside.u8string() + ": " + ec.message());
    }
    for (const auto& entry : fs::directory_iterator(store)) {
        const std::string name = entry.path().filename().u8string();
        const bool tableFile = std::any_of(tables.begin(), tables.end(), [&](const TableDefinition& t) {
            return name == t.name + ".GDB" || name == t.name + ".NDX";
        });
        if (tableFile || isEnvironmentFile(name) || isLogFile(name)) {
            fs::rename(entry.path(), aside / entry.path().filename(), ec);
            if (ec) {
                throw ErrorDb(ec.value(), "cannot set " + entry.path().u8string() + " aside: " + ec.message());
            }
        }
    }
    report.setAside = aside.u8string();

    // A new store with everything saved, its indexes made from the records.
    auto engine = Engine::open(folder);
    for (const TableDefinition& table : tables) {
        Table& t = engine->table(table);
        engine->transaction([&] {
            for (const Record& record : kept[table.name]) {
                try {
                    t.add(record);
                } catch (const ErrorDb& e) {
                    if (e.code() != DuplicateKey) {
                        throw;
                    }
                    ++report.duplicatesDropped; // a record salvaged twice
                }
            }
        });
    }
    engine->close();
    t_engineMessage.clear();
    return report;
}

} // namespace DB
} // namespace Lumeno
