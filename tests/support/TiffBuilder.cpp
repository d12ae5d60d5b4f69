#include "TiffBuilder.h"

#include <fstream>
#include <stdexcept>

namespace TestSupport {

namespace {

std::uint32_t typeSize(std::uint16_t type)
{
    static const std::uint32_t sizes[13] = {0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8};
    return type < 13 ? sizes[type] : 0;
}

// Bytes per unit: rationals are written as two 32-bit units.
std::uint32_t unitSize(std::uint16_t type)
{
    return type == 5 || type == 10 ? 4 : typeSize(type);
}

std::uint32_t valueBytes(const TiffBuilder::Entry& e)
{
    return e.valueField || e.target ? 4 : static_cast<std::uint32_t>(e.units.size()) * unitSize(e.type);
}

class Writer {
public:
    explicit Writer(bool big) : big_(big) {}
    void put(std::uint32_t value, std::uint32_t size)
    {
        for (std::uint32_t i = 0; i < size; ++i) {
            const std::uint32_t shift = big_ ? 8 * (size - 1 - i) : 8 * i;
            bytes.push_back(static_cast<std::uint8_t>(value >> shift));
        }
    }
    void pad(std::size_t to)
    {
        while (bytes.size() < to) {
            bytes.push_back(0);
        }
    }
    std::vector<std::uint8_t> bytes;

private:
    bool big_;
};

} // namespace

TiffBuilder::Dir& TiffBuilder::Dir::ascii(std::uint16_t tag, const std::string& text)
{
    Entry e{tag, 2, static_cast<std::uint32_t>(text.size() + 1), {}, {}, nullptr};
    for (unsigned char c : text) {
        e.units.push_back(c);
    }
    e.units.push_back(0);
    entries.push_back(std::move(e));
    return *this;
}

TiffBuilder::Dir& TiffBuilder::Dir::bytes(std::uint16_t tag, std::vector<std::uint8_t> values, std::uint16_t type)
{
    entries.push_back(Entry{tag, type, static_cast<std::uint32_t>(values.size()),
                            std::vector<std::uint32_t>(values.begin(), values.end()), {}, nullptr});
    return *this;
}

TiffBuilder::Dir& TiffBuilder::Dir::shorts(std::uint16_t tag, std::vector<std::uint32_t> values, std::uint16_t type)
{
    entries.push_back(Entry{tag, type, static_cast<std::uint32_t>(values.size()), std::move(values), {}, nullptr});
    return *this;
}

TiffBuilder::Dir& TiffBuilder::Dir::longs(std::uint16_t tag, std::vector<std::uint32_t> values, std::uint16_t type)
{
    return shorts(tag, std::move(values), type);
}

TiffBuilder::Dir& TiffBuilder::Dir::rationals(std::uint16_t tag,
                                              std::vector<std::pair<std::uint32_t, std::uint32_t>> values,
                                              std::uint16_t type)
{
    Entry e{tag, type, static_cast<std::uint32_t>(values.size()), {}, {}, nullptr};
    for (const auto& [n, d] : values) {
        e.units.push_back(n);
        e.units.push_back(d);
    }
    entries.push_back(std::move(e));
    return *this;
}

TiffBuilder::Dir& TiffBuilder::Dir::srationals(std::uint16_t tag,
                                               std::vector<std::pair<std::int32_t, std::int32_t>> values)
{
    std::vector<std::pair<std::uint32_t, std::uint32_t>> u;
    for (const auto& [n, d] : values) {
        u.emplace_back(static_cast<std::uint32_t>(n), static_cast<std::uint32_t>(d));
    }
    return rationals(tag, std::move(u), 10);
}

TiffBuilder::Dir& TiffBuilder::Dir::raw(std::uint16_t tag, std::uint16_t type, std::uint32_t count,
                                        std::uint32_t valueField)
{
    entries.push_back(Entry{tag, type, count, {}, valueField, nullptr});
    return *this;
}

TiffBuilder::Dir& TiffBuilder::Dir::pointer(std::uint16_t tag, const Dir& target)
{
    entries.push_back(Entry{tag, 4, 1, {}, {}, &target});
    return *this;
}

std::vector<std::uint8_t> TiffBuilder::build() const
{
    // First pass: where each directory and its out-of-line values go.
    offsets_.clear();
    std::uint32_t at = 8 + ((static_cast<std::uint32_t>(preamble_.size()) + 1) & ~1u);
    for (const Dir& d : dirs_) {
        offsets_.push_back(at);
        at += 2 + 12 * static_cast<std::uint32_t>(d.entries.size()) + 4;
        for (const Entry& e : d.entries) {
            const std::uint32_t n = valueBytes(e);
            if (n > 4) {
                at += (n + 1) & ~1u;
            }
        }
    }
    auto indexOf = [this](const Dir* d) {
        for (std::size_t i = 0; i < dirs_.size(); ++i) {
            if (&dirs_[i] == d) {
                return offsets_[i];
            }
        }
        throw std::logic_error("directory of another builder");
    };

    Writer w(bigEndian_);
    w.bytes = {static_cast<std::uint8_t>(bigEndian_ ? 'M' : 'I'), static_cast<std::uint8_t>(bigEndian_ ? 'M' : 'I')};
    w.put(42, 2);
    w.put(firstOffset_.value_or(offsets_[0]), 4);
    w.bytes.insert(w.bytes.end(), preamble_.begin(), preamble_.end());
    for (std::size_t i = 0; i < dirs_.size(); ++i) {
        const Dir& d = dirs_[i];
        w.pad(offsets_[i]);
        w.put(d.rawCount.value_or(static_cast<std::uint16_t>(d.entries.size())), 2);
        std::uint32_t data = offsets_[i] + 2 + 12 * static_cast<std::uint32_t>(d.entries.size()) + 4;
        std::vector<const Entry*> outOfLine;
        for (const Entry& e : d.entries) {
            w.put(e.tag, 2);
            w.put(e.type, 2);
            w.put(e.count, 4);
            if (e.valueField) {
                w.put(*e.valueField, 4);
            } else if (e.target) {
                w.put(indexOf(e.target), 4);
            } else if (valueBytes(e) > 4) {
                w.put(data, 4);
                data += (valueBytes(e) + 1) & ~1u;
                outOfLine.push_back(&e);
            } else {
                const std::size_t start = w.bytes.size();
                for (std::uint32_t u : e.units) {
                    w.put(u, unitSize(e.type));
                }
                w.pad(start + 4);
            }
        }
        w.put(d.next ? indexOf(d.next) : d.rawNext.value_or(0), 4);
        for (const Entry* e : outOfLine) {
            for (std::uint32_t u : e->units) {
                w.put(u, unitSize(e->type));
            }
            if (w.bytes.size() % 2 != 0) {
                w.bytes.push_back(0);
            }
        }
    }
    w.bytes.insert(w.bytes.end(), trailer_.begin(), trailer_.end());
    return w.bytes;
}

std::uint32_t TiffBuilder::offsetOf(const Dir& dir) const
{
    for (std::size_t i = 0; i < dirs_.size() && i < offsets_.size(); ++i) {
        if (&dirs_[i] == &dir) {
            return offsets_[i];
        }
    }
    throw std::logic_error("offsetOf before build");
}

void writeFile(const std::string& path, const std::vector<std::uint8_t>& bytes)
{
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    if (!out) {
        throw std::runtime_error("cannot write " + path);
    }
}

std::vector<std::uint8_t> minimalTiff(bool bigEndian)
{
    TiffBuilder b(bigEndian);
    b.setPreamble({0x80}); // the one pixel, right after the header
    b.ifd0()
        .longs(256, {1})
        .longs(257, {1})
        .shorts(258, {8})
        .shorts(259, {1})
        .shorts(262, {1})
        .longs(273, {8})
        .shorts(277, {1})
        .longs(278, {1})
        .longs(279, {1});
    return b.build();
}

} // namespace TestSupport
