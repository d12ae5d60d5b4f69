// The reconciled view of real files: the Metadata Working Group's own test file, whose every
// right answer says "RIGHT", and camera files whose serial number and lens live in the maker's
// note or in EXIF.
#include <Metadata/ImageFactory.h>
#include <Metadata/ImageStream.h>
#include <Metadata/MetadataValues.h>

#include <gtest/gtest.h>

#include <map>
#include <string>

using namespace Metadata;

namespace {

std::map<std::string, MetadataValues::Value> valuesOf(const std::string& name)
{
    ImageStreamT stream;
    const auto image = openImage(std::string(LUMENO_TEST_DATA) + "/camera/" + name, stream);
    const MetadataValues values(*image);
    std::map<std::string, MetadataValues::Value> found(values.values().begin(), values.values().end());
    return found;
}

std::string text(const std::map<std::string, MetadataValues::Value>& values, const std::string& name)
{
    const auto found = values.find(name);
    return found == values.end() ? "(none)" : found->second.text;
}

} // namespace

TEST(MetadataValues, ReconcileExifIptcAndXmpAsTheGuidelinesSay)
{
    const auto v = valuesOf("MWG.jpg");
    // EXIF's texts first; then XMP, in step with IPTC (no digest); IPTC where XMP has nothing.
    EXPECT_EQ(text(v, "Description"), "RIGHT-EXIF-Description");
    EXPECT_EQ(v.at("Description").source, "EXIF ImageDescription");
    EXPECT_EQ(text(v, "Creator"), "RIGHT1of2-EXIF-Creator; RIGHT2of2-EXIF-Creator");
    EXPECT_EQ(text(v, "Copyright"), "RIGHT-XMP-Copyright");
    EXPECT_EQ(v.at("Copyright").source, "XMP dc:rights");
    EXPECT_EQ(text(v, "Keywords"), "RIGHT1of2-XMP-Keywords; RIGHT2of2-XMP-Keywords");
    EXPECT_EQ(text(v, "City"), "RIGHT-XMP-City");
    EXPECT_EQ(text(v, "Sublocation"), "RIGHT-IPTC-Location");
    EXPECT_EQ(v.at("Sublocation").source, "IPTC Sub-location");
    EXPECT_EQ(text(v, "State"), "RIGHT-IPTC-State");
    EXPECT_EQ(text(v, "Country"), "RIGHT-IPTC-Country");
    EXPECT_EQ(text(v, "Rating"), "3");
    // Dates with their fractions and offsets; EXIF's before XMP's and IPTC's.
    EXPECT_EQ(text(v, "DateTaken"), "2001:01:01 01:11:11.111");
    EXPECT_EQ(text(v, "DateDigitized"), "2002:02:02 02:22:22+02:00");
    EXPECT_EQ(text(v, "Modified"), "2003:03:03 03:33:33.333+03:00");
    EXPECT_EQ(text(v, "Orientation"), "Right, Top");
}

TEST(MetadataValues, CameraDataComesFromExifThenTheMakersNote)
{
    const auto apple = valuesOf("Apple.jpg");
    EXPECT_EQ(text(apple, "Lens"), "iPhone 7 back camera 3.99mm f/1.8");
    EXPECT_EQ(apple.at("Lens").source, "EXIF LensModel");
    EXPECT_EQ(text(apple, "GPSPosition"), "53.382847, -1.456678");
    EXPECT_EQ(text(apple, "GPSAltitude"), "72.37 m above sea level");
    EXPECT_EQ(text(apple, "ExposureTime"), "1/20");
    EXPECT_EQ(text(apple, "FNumber"), "1.8");
    EXPECT_EQ(text(apple, "FocalLength35mm"), "28 mm");
    EXPECT_EQ(text(apple, "DateTaken"), "2016:09:28 18:18:05.813");

    const auto olympus = valuesOf("Olympus2.jpg");
    EXPECT_EQ(text(olympus, "SerialNumber"), "C90500055");
    EXPECT_EQ(olympus.at("SerialNumber").source, "Olympus SerialNumber");
    EXPECT_EQ(text(olympus, "ExposureBias"), "-0.71");

    const auto canon = valuesOf("Canon1DmkIII.jpg");
    EXPECT_NE(text(canon, "SerialNumber"), "(none)");
    EXPECT_EQ(canon.at("SerialNumber").source.rfind("Canon ", 0), 0u);

    // A flash that fired, a zero ISO that means none, keywords each once.
    const auto nikon = valuesOf("NikonD70.jpg");
    EXPECT_EQ(text(nikon, "Flash"), "Fired");
    const auto gps = valuesOf("GPS.jpg");
    EXPECT_EQ(text(gps, "ISO"), "(none)");
    EXPECT_EQ(text(gps, "City"), "(none)"); // blanks are no value
}

TEST(MetadataValues, DatesOfEveryKindTakeTheOneForm)
{
    EXPECT_EQ(MetadataValues::fromXmpDate("2004-02-26T06:27:51.5-05:00"), "2004:02:26 06:27:51.5-05:00");
    EXPECT_EQ(MetadataValues::fromXmpDate("2004-02-26"), "2004:02:26");
    EXPECT_EQ(MetadataValues::fromXmpDate("2004"), "2004");
    EXPECT_EQ(MetadataValues::fromIptcDate("20040226"), "2004:02:26");
    EXPECT_EQ(MetadataValues::fromIptcDate("2004022"), "2004022");
    EXPECT_EQ(MetadataValues::fromIptcDate("2004O226"), "2004O226");
    EXPECT_EQ(MetadataValues::fromIptcTime("062751-0500"), "06:27:51-05:00");
    EXPECT_EQ(MetadataValues::fromIptcTime("062751"), "06:27:51");
    EXPECT_EQ(MetadataValues::fromIptcTime("06:27"), "06:27");
}
