// A table of the gallery store described once: its columns in record order, each bound to a
// member of the table's entry struct. The engine's table definition (fields, fixed part, keys),
// the record written for an entry and the entry read from a record all follow from that one
// list, so that the three cannot drift apart.
#pragma once

#include "Lumeno/DB/Engine.h"

#include <cerrno>
#include <cstdint>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace Lumeno::DB::Schema {

// The lists kept in one block: each item followed by a NUL.
std::string packList(const std::vector<std::string>& items);
std::vector<std::string> unpackList(const std::string& packed);
// A text cut to a field of `size` bytes (terminator included) at its first NUL or its end.
std::string fit(const std::string& text, std::size_t size);

template <class Entry> class Column {
public:
    enum class Kind {
        Flag,      // the engine's own byte: written as 0, never read
        Number,    // 32-bit number, little-endian
        Text,      // text cut to fit its field
        WholeText, // text kept whole: the engine refuses one that does not fit
        List,      // items packed into a block
        Block,     // bytes as they are
    };

    static Column flag() { return Column(Kind::Flag, {"CTreeFlag", FieldForm::Bytes, 1}); }
    static Column number(const char* name, std::uint32_t Entry::*member)
    {
        Column c(Kind::Number, {name, FieldForm::Bytes, 4});
        c.number_ = member;
        return c;
    }
    static Column text(const char* name, std::uint32_t size, std::string Entry::*member)
    {
        Column c(Kind::Text, {name, FieldForm::Text, size});
        c.text_ = member;
        return c;
    }
    static Column wholeText(const char* name, std::uint32_t size, std::string Entry::*member)
    {
        Column c(Kind::WholeText, {name, FieldForm::Text, size});
        c.text_ = member;
        return c;
    }
    static Column list(const char* name, std::vector<std::string> Entry::*member)
    {
        Column c(Kind::List, {name, FieldForm::Block, 0});
        c.list_ = member;
        return c;
    }
    static Column block(const char* name, std::string Entry::*member)
    {
        Column c(Kind::Block, {name, FieldForm::Block, 0});
        c.text_ = member;
        return c;
    }

    const FieldDefinition& field() const noexcept { return field_; }
    bool holds(std::string Entry::*member) const noexcept { return text_ == member; }

    std::string write(const Entry& entry) const
    {
        switch (kind_) {
        case Kind::Flag:
            return std::string(1, '\0');
        case Kind::Number: {
            const std::uint32_t v = entry.*number_;
            std::string bytes(4, '\0');
            for (std::size_t i = 0; i < 4; ++i) {
                bytes[i] = static_cast<char>((v >> (8 * i)) & 0xFF);
            }
            return bytes;
        }
        case Kind::Text:
            return fit(entry.*text_, field_.size);
        case Kind::List:
            return packList(entry.*list_);
        case Kind::WholeText:
        case Kind::Block:
            break;
        }
        return entry.*text_;
    }

    // `value` a string, moved from when it is an rvalue.
    template <class Text> void read(Text&& value, Entry& entry) const
    {
        switch (kind_) {
        case Kind::Flag:
            return;
        case Kind::Number: {
            std::uint32_t v = 0;
            for (std::size_t i = 0; i < 4 && i < value.size(); ++i) {
                v |= static_cast<std::uint32_t>(static_cast<unsigned char>(value[i])) << (8 * i);
            }
            entry.*number_ = v;
            return;
        }
        case Kind::List:
            entry.*list_ = unpackList(value);
            return;
        case Kind::Text:
        case Kind::WholeText:
        case Kind::Block:
            entry.*text_ = std::forward<Text>(value);
            return;
        }
    }

private:
    Column(Kind kind, FieldDefinition field) : kind_(kind), field_(std::move(field)) {}

    Kind kind_;
    FieldDefinition field_;
    std::uint32_t Entry::*number_ = nullptr;
    std::string Entry::*text_ = nullptr;
    std::vector<std::string> Entry::*list_ = nullptr;
};

// A key: one segment over a text column, as long as the column's field.
template <class Entry> struct Key {
    std::string Entry::*column;
    bool duplicates;
};

template <class Entry> class Layout {
public:
    // The first `fixedColumns` columns make the record's fixed part.
    Layout(std::vector<Column<Entry>> columns, std::size_t fixedColumns, std::vector<Key<Entry>> keys)
        : columns_(std::move(columns))
    {
        for (std::size_t i = 0; i < fixedColumns; ++i) {
            fixedLength_ += columns_[i].field().size;
        }
        for (const Key<Entry>& key : keys) {
            const std::size_t at = position(key.column);
            keys_.push_back({at, columns_[at].field().size, key.duplicates});
            keyColumns_.push_back(key.column);
        }
    }

    std::vector<FieldDefinition> fields() const
    {
        std::vector<FieldDefinition> fields;
        fields.reserve(columns_.size());
        for (const Column<Entry>& column : columns_) {
            fields.push_back(column.field());
        }
        return fields;
    }
    std::uint32_t fixedLength() const noexcept { return fixedLength_; }
    const std::vector<KeyDefinition>& keys() const noexcept { return keys_; }
    TableDefinition definition(const std::string& name) const { return {name, fields(), fixedLength_, keys_}; }

    // The engine's number (1-based) of the key over `column`.
    int key(std::string Entry::*column) const
    {
        for (std::size_t k = 0; k < keyColumns_.size(); ++k) {
            if (keyColumns_[k] == column) {
                return static_cast<int>(k + 1);
            }
        }
        throw ErrorDb(EINVAL, "no key over that column");
    }

    Record record(const Entry& entry) const
    {
        Record record;
        record.reserve(columns_.size());
        for (const Column<Entry>& column : columns_) {
            record.push_back(column.write(entry));
        }
        return record;
    }

    Entry entry(const Record& record) const { return read(record); }
    Entry entry(Record&& record) const { return read(std::move(record)); }

private:
    template <class Fields> Entry read(Fields&& record) const
    {
        if (record.size() != columns_.size()) {
            throw ErrorDb(EINVAL, "a record of " + std::to_string(record.size()) + " fields where " +
                                      std::to_string(columns_.size()) + " belong");
        }
        Entry result;
        for (std::size_t i = 0; i < columns_.size(); ++i) {
            if constexpr (std::is_lvalue_reference_v<Fields>) {
                columns_[i].read(record[i], result);
            } else {
                columns_[i].read(std::move(record[i]), result);
            }
        }
        return result;
    }

    std::size_t position(std::string Entry::*member) const
    {
        for (std::size_t i = 0; i < columns_.size(); ++i) {
            if (columns_[i].holds(member)) {
                return i;
            }
        }
        throw ErrorDb(EINVAL, "a key over no column");
    }

    std::vector<Column<Entry>> columns_;
    std::uint32_t fixedLength_ = 0;
    std::vector<KeyDefinition> keys_;
    std::vector<std::string Entry::*> keyColumns_;
};

// An open table seen through its layout: entries in, entries out, and the walks along a key.
template <class Entry> class Rows {
public:
    Rows(Table& table, const Layout<Entry>& layout) : table_(table), layout_(layout) {}

    RecordId add(const Entry& entry) { return table_.add(layout_.record(entry)); }
    void rewrite(RecordId id, const Entry& entry) { table_.rewrite(id, layout_.record(entry)); }
    void remove(RecordId id) { table_.remove(id); }
    std::size_t count() const { return table_.count(); }

    // The entry whose key over `column` equals `value` (letter case aside).
    bool find(std::string Entry::*column, const std::string& value, Entry& entry, RecordId& id) const
    {
        Record record;
        if (!table_.find(layout_.key(column), value, record, id)) {
            return false;
        }
        entry = layout_.entry(std::move(record));
        return true;
    }
    bool contains(std::string Entry::*column, const std::string& value) const
    {
        Record record;
        RecordId id = 0;
        return table_.find(layout_.key(column), value, record, id);
    }

    // Every entry whose key over `column` begins with `prefix` ("" for all), in key order.
    // `visit(id, entry)` may answer false to stop.
    template <class Visit> void walkPrefix(std::string Entry::*column, const std::string& prefix, Visit visit) const
    {
        table_.range(layout_.key(column), prefix,
                     [&](RecordId id, const Record& record) { return goOn(visit, id, layout_.entry(record)); });
    }

    // Every entry in the order of their positions (the order they were added, unless a removed
    // one's place was taken), read without an index: the quickest way through most of a table.
    template <class Visit> void walkAll(Visit visit) const
    {
        table_.scan([&](RecordId id, const Record& record) { return goOn(visit, id, layout_.entry(record)); });
    }

    // Every entry whose key over `column` equals `value` (letter case aside). Equal keys come
    // first among those that begin with `value` and together, so the first other one ends the walk.
    template <class Visit> void walkEqual(std::string Entry::*column, const std::string& value, Visit visit) const
    {
        const int key = layout_.key(column);
        const std::size_t field = layout_.keys()[static_cast<std::size_t>(key - 1)].field;
        table_.range(key, value, [&](RecordId id, const Record& record) {
            return sameKey(record.at(field), value) && goOn(visit, id, layout_.entry(record));
        });
    }

    // walkEqual's entries with their positions, in key order.
    std::vector<std::pair<RecordId, Entry>> equal(std::string Entry::*column, const std::string& value) const
    {
        std::vector<std::pair<RecordId, Entry>> found;
        walkEqual(column, value, [&](RecordId id, Entry&& entry) { found.emplace_back(id, std::move(entry)); });
        return found;
    }

private:
    // A visit that answers nothing goes on to the end.
    template <class Visit> static bool goOn(Visit& visit, RecordId id, Entry&& entry)
    {
        if constexpr (std::is_void_v<std::invoke_result_t<Visit&, RecordId, Entry&&>>) {
            visit(id, std::move(entry));
            return true;
        } else {
            return visit(id, std::move(entry));
        }
    }

    Table& table_;
    const Layout<Entry>& layout_;
};

} // namespace Lumeno::DB::Schema
