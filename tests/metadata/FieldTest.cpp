#include "TreeHelpers.h"

#include <Metadata/Exceptions.h>
#include <Metadata/Field.h>

#include <gtest/gtest.h>

#include <climits>
#include <sstream>

using namespace Metadata;
using TestSupport::TiffBuilder;

namespace {

class FieldInBothOrders : public ::testing::TestWithParam<bool> {};


} // namespace

TEST_P(FieldInBothOrders, LoadsEveryTypeInlineOrThroughItsOffset)
{
    TiffBuilder b(GetParam());
    b.ifd0()
        .bytes(1, {1, 255}, 1)
        .ascii(2, "Acme")
        .shorts(3, {1, 65535})
        .shorts(4, {1, 2, 3})
        .longs(5, {0xDEADBEEF})
        .rationals(6, {{10, 600}, {0, 5}, {0xFFFFFFFF, 1}})
        .bytes(7, {0xFF, 5}, 6)
        .bytes(8, {0, 1, 2, 3, 4})
        .shorts(9, {0xFFFE}, 8)
        .longs(10, {static_cast<std::uint32_t>(-100000)}, 9)
        .srationals(11, {{-1, 3}, {2, -4}, {INT_MIN, -1}})
        .raw(12, 11, 1, 0x3F800000)
        .raw(13, 12, 2, 0x7FFFFFF0)
        .ascii(14, "Acm");
    const IFD d = TestSupport::directoryOf(b);
    const std::uint32_t entries = d.offset() + 2;
    ASSERT_EQ(d.size(), 14u);

    EXPECT_EQ(d.at(0).unsignedValues(), (std::vector<std::uint32_t>{1, 255}));
    std::string text;
    EXPECT_TRUE(d.at(1).getText(text));
    EXPECT_EQ(text, "Acme");
    EXPECT_EQ(d.at(1).textBytes(), (std::vector<char>{'A', 'c', 'm', 'e', '\0'}));
    EXPECT_EQ(d.at(2).unsignedValues(), (std::vector<std::uint32_t>{1, 65535}));
    // Four bytes or less: the value offset is the entry's own value field.
    EXPECT_EQ(d.at(2).valueOffset(), entries + 12 * 2 + 8);
    EXPECT_EQ(d.at(3).unsignedValues(), (std::vector<std::uint32_t>{1, 2, 3}));
    EXPECT_GT(d.at(3).valueOffset(), entries + 12 * 14);
    EXPECT_EQ(d.at(4).unsignedValues(), (std::vector<std::uint32_t>{0xDEADBEEF}));

    // Rationals are reduced; 0/5 becomes 0/1.
    EXPECT_EQ(d.at(5).unsignedRationals(),
              (std::vector<URational>{{1, 60}, {0, 1}, {0xFFFFFFFF, 1}}));
    EXPECT_EQ(d.at(6).signedValues(), (std::vector<std::int32_t>{-1, 5}));
    EXPECT_EQ(d.at(7).rawBytes(), (std::vector<std::uint8_t>{0, 1, 2, 3, 4}));
    EXPECT_EQ(d.at(8).signedValues(), (std::vector<std::int32_t>{-2}));
    EXPECT_EQ(d.at(9).signedValues(), (std::vector<std::int32_t>{-100000}));
    // Denominators made positive; -2^31 / -1 does not fit 32 bits and still comes out right.
    EXPECT_EQ(d.at(10).signedRationals(),
              (std::vector<SRational>{{-1, 3}, {-1, 2}, {2147483648LL, 1}}));

    // FLOAT and DOUBLE keep tag, type and count but no values, even with an offset past the end.
    EXPECT_EQ(d.at(11).type(), 11);
    EXPECT_EQ(d.at(12).count(), 2u);
    EXPECT_THROW(d.at(11).unsignedValues(), LogicError);
    EXPECT_THROW(d.at(12).rawBytes(), LogicError);

    // Three characters and the NUL fit inline.
    EXPECT_EQ(d.at(13).valueOffset(), entries + 12 * 13 + 8);
    EXPECT_TRUE(d.at(13).getText(text));
    EXPECT_EQ(text, "Acm");
}

INSTANTIATE_TEST_SUITE_P(ByteOrders, FieldInBothOrders, ::testing::Values(false, true),
                         [](const ::testing::TestParamInfo<bool>& p) { return p.param ? "MM" : "II"; });

TEST(Field, GettersAnswerFalseForMissingValuesAndRefuseOtherTypes)
{
    TiffBuilder b;
    b.ifd0().shorts(274, {6}).ascii(271, "Acme").rationals(282, {{72, 1}});
    const IFD d = TestSupport::directoryOf(b);
    std::uint32_t u = 0;
    EXPECT_TRUE(d.at(0).getUInt32(u));
    EXPECT_EQ(u, 6u);
    EXPECT_FALSE(d.at(0).getUInt32(u, 1));

    try {
        d.at(1).getUInt32(u);
        FAIL() << "no exception";
    } catch (const LogicError& e) {
        EXPECT_STREQ(e.what(), "wrong field type");
        EXPECT_EQ(e.file(), "Field.cpp");
    }
    URational r;
    EXPECT_TRUE(d.at(2).getURational(r));
    EXPECT_EQ(r, (URational{72, 1}));
    SRational s;
    EXPECT_THROW(d.at(2).getSRational(s), LogicError);
    std::string text;
    EXPECT_THROW(d.at(0).getText(text), LogicError);
    std::vector<std::uint8_t> bytes;
    EXPECT_THROW(d.at(1).getBytes(bytes), LogicError);
}

TEST(Field, BrokenEntriesAreKeptAndWarnedOfWhileTheRestIsRead)
{
    using TestSupport::textsOf;
    using Texts = std::vector<std::string>;
    {
        // A type outside the twelve: kept for its tag, type and count, without values.
        TiffBuilder b;
        b.ifd0().shorts(274, {6}).raw(300, 14, 1, 0).ascii(271, "Acme");
        const EXIF tree = TestSupport::treeOf(b);
        EXPECT_EQ(textsOf(tree.warnings()), Texts{"Zero-length Field"});
        EXPECT_EQ(tree.warnings()[0].directory, DirectoryId::Primary);
        EXPECT_EQ(tree.warnings()[0].tag, 300);
        const IFD& ifd0 = *tree.directory(DirectoryId::Primary);
        ASSERT_EQ(ifd0.size(), 3u);
        EXPECT_TRUE(ifd0.at(1).damaged());
        std::ostringstream line;
        ifd0.at(1).dumpGeneric(line);
        EXPECT_EQ(line.str(), "Tag 0x012c (?, 1)");
        std::string text;
        EXPECT_TRUE(tree.getText(DirectoryId::Primary, 271, text));
        EXPECT_EQ(text, "Acme");
    }
    {
        // A directory pointer of the IFD type is no fault.
        TiffBuilder b;
        b.ifd0().raw(34665, IFDType, 1, 0);
        EXPECT_TRUE(TestSupport::treeOf(b).warnings().empty());
    }
    {
        // A zero count: an empty value, as other readers show it.
        TiffBuilder b;
        b.ifd0().raw(270, 2, 0, 0).raw(274, 3, 0, 0).shorts(296, {2});
        const EXIF tree = TestSupport::treeOf(b);
        EXPECT_EQ(textsOf(tree.warnings()), (Texts{"Zero-length Field", "Zero-length Field"}));
        std::string text = "x";
        EXPECT_TRUE(tree.getText(DirectoryId::Primary, 270, text));
        EXPECT_EQ(text, "");
        std::uint32_t u = 0;
        EXPECT_FALSE(tree.getUInt32(DirectoryId::Primary, 274, u));
        EXPECT_TRUE(tree.getUInt32(DirectoryId::Primary, 296, u));
        EXPECT_EQ(u, 2u);
    }
    {
        // A zero denominator: the value stays, as it was stored, but is no number.
        TiffBuilder b;
        b.ifd0().rationals(282, {{72, 1}, {0, 0}}).srationals(37380, {{-1, 0}});
        const EXIF tree = TestSupport::treeOf(b);
        EXPECT_EQ(textsOf(tree.warnings()),
                  (Texts{"bad rational: zero denominator", "bad rational: zero denominator"}));
        const Field& x = *tree.find(DirectoryId::Primary, 282);
        URational r;
        EXPECT_TRUE(x.getURational(r, 0));
        EXPECT_EQ(r, (URational{72, 1}));
        EXPECT_FALSE(x.getURational(r, 1));
        EXPECT_EQ(x.genericValueText(), "72/1 0/0");
        SRational s;
        EXPECT_FALSE(tree.find(DirectoryId::Primary, 37380)->getSRational(s));
        EXPECT_EQ(tree.find(DirectoryId::Primary, 37380)->genericValueText(), "-1/0");
    }
}

TEST(Field, BuiltFromItsPartsLoadsLikeARead)
{
    TiffBuilder b;
    b.ifd0().shorts(258, {8, 8, 8});
    auto reader = TestSupport::readerFor(b.build());
    const IFD d(reader, 1, reader->firstIFDOffset());
    const Field& read = d.at(0);
    const Field built(*reader, 1, 258, 3, 3, read.valueOffset());
    EXPECT_EQ(built.unsignedValues(), read.unsignedValues());
    EXPECT_EQ(built.tag(), 258);
    const Field unknown(*reader, 1, 258, 0, 3, 0);
    EXPECT_TRUE(unknown.damaged());
    EXPECT_EQ(TestSupport::textsOf(reader->warnings()), std::vector<std::string>{"Zero-length Field"});
}

TEST(FieldValues, ListsSurviveCopiesAndMovesInPlaceAndOnTheHeap)
{
    // 6 values fit inside the list, 7 do not.
    for (const std::size_t n : {1u, 6u, 7u, 300u}) {
        std::vector<std::uint32_t> expected(n);
        for (std::size_t i = 0; i < n; ++i) {
            expected[i] = static_cast<std::uint32_t>(i * 7919u);
        }
        const ValueList<std::uint32_t> list(expected.data(), expected.data() + n);
        ValueList<std::uint32_t> copy(list);
        const ValueList<std::uint32_t> moved(std::move(copy));
        ValueList<std::uint32_t> assigned(3);
        assigned = moved;
        ValueList<std::uint32_t>& same = assigned;
        assigned = same;
        ValueList<std::uint32_t> takenOver;
        takenOver = ValueList<std::uint32_t>(list);
        using List = const ValueList<std::uint32_t>*;
        for (const List l : {List(&list), List(&moved), List(&assigned), List(&takenOver)}) {
            EXPECT_EQ(*l, expected) << n;
            EXPECT_EQ(l->toVector(), expected);
        }
        EXPECT_NE(moved.data(), list.data());
        EXPECT_NE(assigned.data(), moved.data());
        EXPECT_TRUE(copy.empty()); // what a move leaves behind is part of the contract
    }
    const char text[] = "a text longer than the twenty-four bytes kept in place";
    ValueList<char> chars(text, text + sizeof text);
    std::vector<ValueList<char>> many(40, chars); // grows and moves its elements
    many.emplace_back(text, text + 3);
    EXPECT_EQ(std::string(many[7].data()), text);
    EXPECT_EQ(std::string(many.back().begin(), many.back().end()), "a t");
}
