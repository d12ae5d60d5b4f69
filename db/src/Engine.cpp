#include "Lumeno/DB/Engine.h"

#include <db_cxx.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <filesystem>
#include <map>

namespace Lumeno::DB {

const int DuplicateKey = DB_KEYEXIST;

namespace {

[[noreturn]] void fail(int code, const std::string& what)
{
    throw ErrorDb(code, what + ": " + db_strerror(code));
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
    auto broken = [&] { return ErrorDb(EILSEQ, "a record of " + definition.name + " is damaged"); };
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

class BerkeleyTable final : public Table {
public:
    BerkeleyTable(DbEnv& env, DbTxn* const& current, const std::string& folder, const TableDefinition& definition)
        : env_(env), current_(current), definition_(definition), primary_(&env, 0)
    {
        DbTxn* txn = nullptr;
        try {
            if (const int r = env_.txn_begin(nullptr, &txn, 0); r != 0) {
                fail(r, "cannot open the table " + definition_.name + " in " + folder);
            }
            primary_.open(txn, (definition_.name + ".GDB").c_str(), nullptr, DB_RECNO, DB_CREATE | DB_THREAD, 0644);
            for (std::size_t k = 0; k < definition_.keys.size(); ++k) {
                const KeyDefinition& key = definition_.keys[k];
                infos_.push_back(std::make_unique<KeyInfo>(KeyInfo{&definition_, key.field, key.segmentLength}));
                auto index = std::make_unique<Db>(&env, 0);
                index->set_app_private(infos_.back().get());
                index->set_pagesize(4096); // the index file grows a page of 4096 bytes at a time
                if (key.duplicates) {
                    index->set_flags(DB_DUPSORT);
                }
                index->open(txn, (definition_.name + ".NDX").c_str(), ("key" + std::to_string(k + 1)).c_str(), DB_BTREE,
                            DB_CREATE | DB_THREAD, 0644);
                primary_.associate(txn, index.get(), extractKey, DB_CREATE);
                indexes_.push_back(std::move(index));
            }
            txn->commit(0);
        } catch (const DbException& e) {
            if (txn != nullptr) {
                txn->abort();
            }
            fail(e.get_errno(), "cannot open the table " + definition_.name + " in " + folder);
        }
    }

    ~BerkeleyTable() override
    {
        for (auto& index : indexes_) {
            index->close(0);
        }
        primary_.close(0);
    }

    RecordId add(const Record& record) override
    {
        const std::string bytes = encodeRecord(definition_, record);
        db_recno_t number = 0;
        Dbt key = recordNumber(number);
        Dbt data(const_cast<char*>(bytes.data()), static_cast<u_int32_t>(bytes.size()));
        inTransaction("add a record to " + definition_.name, [&](DbTxn* txn) {
            const int clash = uniqueKeysTaken(txn, record, 0);
            return clash != 0 ? clash : primary_.put(txn, &key, &data, DB_APPEND);
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
        Dbc* cursor = nullptr;
        try {
            indexes_[static_cast<std::size_t>(keyNumber - 1)]->cursor(current_, &cursor, 0);
            std::string keyBuffer = start;
            keyBuffer.resize(std::max<std::size_t>(keyBuffer.size(), 1024));
            Dbt key(&keyBuffer[0], static_cast<u_int32_t>(start.size()));
            key.set_ulen(static_cast<u_int32_t>(keyBuffer.size()));
            key.set_flags(DB_DBT_USERMEM);
            db_recno_t number = 0;
            Dbt primaryKey = recordNumber(number);
            Dbt data;
            data.set_flags(DB_DBT_MALLOC);
            int flag = DB_SET_RANGE;
            for (;;) {
                const int r = cursor->pget(&key, &primaryKey, &data, flag);
                flag = DB_NEXT;
                if (r == DB_NOTFOUND) {
                    break;
                }
                if (r != 0) {
                    fail(r, "cannot read " + definition_.name);
                }
                const std::string found(static_cast<const char*>(key.get_data()), key.get_size());
                const std::string bytes(static_cast<const char*>(data.get_data()), data.get_size());
                std::free(data.get_data());
                data.set_data(nullptr);
                if (found.compare(0, start.size(), start) != 0) {
                    break;
                }
                if (!visit(number, decodeRecord(definition_, bytes))) {
                    break;
                }
            }
            cursor->close();
        } catch (const DbException& e) {
            if (cursor != nullptr) {
                cursor->close();
            }
            fail(e.get_errno(), "cannot read " + definition_.name);
        } catch (...) {
            if (cursor != nullptr) {
                cursor->close();
            }
            throw;
        }
    }

    void rewrite(RecordId id, const Record& record) override
    {
        const std::string bytes = encodeRecord(definition_, record);
        db_recno_t number = id;
        Dbt key(&number, sizeof number);
        Dbt data(const_cast<char*>(bytes.data()), static_cast<u_int32_t>(bytes.size()));
        inTransaction("rewrite a record of " + definition_.name, [&](DbTxn* txn) {
            const int clash = uniqueKeysTaken(txn, record, id);
            return clash != 0 ? clash : primary_.put(txn, &key, &data, 0);
        });
    }

    void remove(RecordId id) override
    {
        db_recno_t number = id;
        Dbt key(&number, sizeof number);
        inTransaction("delete a record of " + definition_.name, [&](DbTxn* txn) { return primary_.del(txn, &key, 0); });
    }

    std::size_t count() const override
    {
        DB_BTREE_STAT* stat = nullptr;
        const_cast<Db&>(primary_).stat(current_, &stat, 0);
        const std::size_t n = stat != nullptr ? stat->bt_nkeys : 0;
        std::free(stat);
        return n;
    }

private:
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

    template <class Write> void inTransaction(const std::string& what, Write write)
    {
        if (current_ != nullptr) {
            // Part of the engine's open transaction, which aborts as a whole on failure.
            const int r = write(current_);
            if (r != 0) {
                fail(r, "cannot " + what);
            }
            return;
        }
        DbTxn* txn = nullptr;
        try {
            if (const int r = env_.txn_begin(nullptr, &txn, 0); r != 0) {
                fail(r, "cannot " + what);
            }
            const int r = write(txn);
            if (r != 0) {
                txn->abort();
                fail(r, "cannot " + what);
            }
            txn->commit(0);
        } catch (const DbException& e) {
            if (txn != nullptr) {
                txn->abort();
            }
            fail(e.get_errno(), "cannot " + what);
        }
    }

    DbEnv& env_;
    DbTxn* const& current_; // the engine's open transaction, if any
    TableDefinition definition_;
    mutable Db primary_;
    std::vector<std::unique_ptr<KeyInfo>> infos_;
    std::vector<std::unique_ptr<Db>> indexes_;
};

class BerkeleyEngine final : public Engine {
public:
    explicit BerkeleyEngine(const std::string& folder) : folder_(folder), env_(DB_CXX_NO_EXCEPTIONS)
    {
        std::error_code ec;
        std::filesystem::create_directories(std::filesystem::u8path(folder), ec);
        // A process that dies leaves the log: DB_REGISTER notices and DB_RECOVER replays it, so
        // every committed write survives. The log is written at each commit but not forced to
        // the disk (the system keeps it), which a killed process cannot lose.
        env_.set_flags(DB_TXN_WRITE_NOSYNC, 1);
        env_.set_cachesize(0, 32 * 1024 * 1024, 1);
        // Logs that a checkpoint has made unnecessary are deleted, so the store does not grow
        // by its history.
        env_.log_set_config(DB_LOG_AUTO_REMOVE, 1);
        const int r = env_.open(folder.c_str(),
                                DB_CREATE | DB_INIT_TXN | DB_INIT_LOG | DB_INIT_LOCK | DB_INIT_MPOOL | DB_THREAD |
                                    DB_REGISTER | DB_RECOVER,
                                0644);
        if (r != 0) {
            fail(r, "cannot open the gallery store in " + folder);
        }
        env_.set_error_stream(nullptr);
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
        DbTxn* txn = nullptr;
        if (const int r = env_.txn_begin(nullptr, &txn, 0); r != 0) {
            fail(r, "cannot begin a transaction in " + folder_);
        }
        current_ = txn;
        try {
            work();
        } catch (...) {
            current_ = nullptr;
            txn->abort();
            throw;
        }
        current_ = nullptr;
        if (const int r = txn->commit(0); r != 0) {
            fail(r, "cannot commit a transaction in " + folder_);
        }
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

private:
    std::string folder_;
    DbEnv env_;
    std::map<std::string, std::unique_ptr<BerkeleyTable>> tables_;
    DbTxn* current_ = nullptr;
    bool closed_ = false;
};

} // namespace

std::unique_ptr<Engine> Engine::open(const std::string& folder)
{
    try {
        return std::make_unique<BerkeleyEngine>(folder);
    } catch (const DbException& e) {
        fail(e.get_errno(), "cannot open the gallery store in " + folder);
    }
}

} // namespace Lumeno::DB
