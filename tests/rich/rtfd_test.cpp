// SPDX-License-Identifier: MIT
#include "rich/rtfd.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/files.h"
#include "support/scratch.h"

namespace textrix {
namespace {

namespace fs = std::filesystem;

std::string word(std::uint32_t value) {
  std::string bytes;
  for (int i = 0; i < 4; ++i) bytes.push_back(static_cast<char>(value >> (8 * i)));
  return bytes;
}

std::string counted(std::string_view bytes) {
  return word(bytes.size()) + std::string(bytes);
}

std::string dataRecord(std::string_view bytes) {
  return word(1) + counted(bytes);
}

std::string paddedRecord(std::string_view bytes, std::uint32_t padding) {
  return word(1) + word(0x80000000) + word(bytes.size()) + word(padding) +
         std::string(padding, '\0') + std::string(bytes);
}

struct Entry {
  std::string name;
  std::string record;
  std::optional<std::uint32_t> size = {};  // the record's length when not given
};

std::string directory(const std::vector<Entry>& entries) {
  std::string bytes = word(entries.size());
  for (const Entry& entry : entries) bytes += counted(entry.name);
  for (const Entry& entry : entries) bytes += word(entry.size.value_or(entry.record.size()));
  for (const Entry& entry : entries) bytes += entry.record;
  return bytes;
}

std::string directoryRecord(const std::vector<Entry>& entries) {
  return word(3) + directory(entries);
}

const std::string kHeader = "rtfd" + word(0) + word(3);

std::string flat(const std::vector<Entry>& entries) {
  return kHeader + directory(entries);
}
constexpr std::string_view kRtf = "{\\rtf1}";
// Entry TXT.rtf alone: count at 12, name length at 16, record size at 27, record at 31 to 46.
const Entry kText{"TXT.rtf", dataRecord(kRtf)};

std::shared_ptr<const std::string> file(std::string bytes) {
  return std::make_shared<const std::string>(std::move(bytes));
}

// The text and the attachments' contents by name, to compare packages whole.
std::pair<std::string, std::map<std::string, std::string>> contents(const RtfdPackage& package) {
  std::map<std::string, std::string> files;
  for (const auto& [name, bytes] : package.attachments) files[name] = bytes ? *bytes : "(null)";
  return {package.rtf, files};
}

std::string allByteValues(std::size_t size) {
  std::string bytes(size, '\0');
  for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<char>(i * 7 % 256);
  return bytes;
}

TEST(RtfdFlatReading, RefusesMalformedPackagesAtTheFieldAtFault) {
  using enum RichTextErrorKind;
  const struct {
    const char* what;
    std::string bytes;
    RichTextErrorKind kind;
    std::size_t offset;
  } cases[] = {
      {"empty", "", notRtfd, 0},
      {"other magic", "RTFD" + word(0) + word(3) + directory({kText}), notRtfd, 0},
      {"unknown version", "rtfd" + word(1) + word(3) + directory({kText}), notRtfd, 4},
      {"not a directory", "rtfd" + word(0) + word(1) + dataRecord(kRtf), notRtfd, 8},
      {"huge count", kHeader + word(0xFFFFFFFF) + std::string(100, '\0'), truncatedRtfd, 12},
      {"huge name length", kHeader + word(1) + word(0xFFFFFFF0) + std::string(20, '\0'),
       truncatedRtfd, 16},
      {"record past the end", flat({{"TXT.rtf", dataRecord(kRtf), 1000}}), truncatedRtfd, 31},
      {"record size below its type", flat({{"TXT.rtf", dataRecord(kRtf), 2}}), malformedRtfd, 31},
      {"record longer than its data", flat({{"TXT.rtf", dataRecord(kRtf) + "x", 16}}),
       malformedRtfd, 46},
      {"record shorter than its data", flat({{"TXT.rtf", dataRecord(kRtf), 14}}) + "x",
       malformedRtfd, 46},
      {"data past the end", flat({{"TXT.rtf", word(1) + word(0xFFFF) + std::string(kRtf)}}),
       truncatedRtfd, 35},
      {"padding past the end",
       flat({{"TXT.rtf", word(1) + word(0x80000000) + word(7) + word(1000) + std::string(kRtf)}}),
       truncatedRtfd, 43},
      {"unknown record type", flat({{"TXT.rtf", word(2) + counted(kRtf)}}), malformedRtfd, 31},
      {"duplicate name", flat({kText, {"TXT.rtf", dataRecord("x")}}), malformedRtfd, 27},
      {"name leading out", flat({kText, {"../a", dataRecord("x")}}), malformedRtfd, 27},
      {"name with a slash", flat({kText, {"a/b", dataRecord("x")}}), malformedRtfd, 27},
      {"empty name", flat({kText, {"", dataRecord("x")}}), malformedRtfd, 27},
      {"bytes after the directory", flat({kText}) + "x", malformedRtfd, 46},
      {"without TXT.rtf", flat({{"a", dataRecord("x")}}), missingText, 34},
      {"TXT.rtf as a directory", flat({{"TXT.rtf", directoryRecord({})}}), missingText, 39},
      // The nested directory's record at 72 says 10 bytes but its data ends at 81.
      {"skipped directory checked",
       flat({kText, {"d", word(3) + word(1) + counted("x") + word(10) + dataRecord("y") + "z"}}),
       malformedRtfd, 81},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    const RtfdPackageReading reading = readFlatRtfdPackage(c.bytes);
    EXPECT_EQ(reading.error.kind, c.kind);
    EXPECT_EQ(reading.error.offset, c.offset);
    EXPECT_TRUE(reading.package.rtf.empty() && reading.package.attachments.empty());
  }
}

TEST(RtfdFlatReading, ReportsEveryCutAsTruncated) {
  const std::string whole = flat({kText,
                                  {"a.png", dataRecord(std::string("\0\x01", 2))},
                                  {"d", directoryRecord({{"x", paddedRecord("y", 2)}})}});
  ASSERT_TRUE(readFlatRtfdPackage(whole).ok());
  for (std::size_t length = 0; length < whole.size(); ++length) {
    SCOPED_TRACE(length);
    const RtfdPackageReading reading = readFlatRtfdPackage(whole.substr(0, length));
    EXPECT_EQ(reading.error.kind,
              length < 4 ? RichTextErrorKind::notRtfd : RichTextErrorKind::truncatedRtfd);
    EXPECT_LE(reading.error.offset, length);
  }
}

TEST(RtfdFlatReading, KeepsTheFilesAndSkipsMetadataAndDirectories) {
  const std::string binary("\0\xFF\0png", 6);
  const struct {
    const char* what;
    std::string bytes;
    RtfdPackage package;
  } cases[] = {
      {"text alone", flat({kText}), {std::string(kRtf), {}}},
      {"empty files",
       flat({{"TXT.rtf", dataRecord("")}, {"a", dataRecord("")}}),
       {"", {{"a", file("")}}}},
      {"metadata",
       flat({{".", dataRecord("meta")},
             {"__@PreferredName@__", dataRecord("Doc.rtfd")},
             {"__@UTF8PreferredName@__", dataRecord("Doc.rtfd")},
             kText,
             {"a.png", dataRecord(binary)}}),
       {std::string(kRtf), {{"a.png", file(binary)}}}},
      {"nested directory",
       flat({kText, {"folder", directoryRecord({{"inner", dataRecord("x")}})}}),
       {std::string(kRtf), {}}},
      {"padded", flat({{"TXT.rtf", paddedRecord(kRtf, 5)}}), {std::string(kRtf), {}}},
      {"padded without padding",
       flat({{"TXT.rtf", paddedRecord(kRtf, 0)}}),
       {std::string(kRtf), {}}},
      {"names in any order",
       flat({{"b", dataRecord("2")}, kText, {"a", dataRecord("1")}}),
       {std::string(kRtf), {{"a", file("1")}, {"b", file("2")}}}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    const RtfdPackageReading reading = readFlatRtfdPackage(c.bytes);
    ASSERT_TRUE(reading.ok()) << static_cast<int>(reading.error.kind) << " at "
                              << reading.error.offset;
    EXPECT_EQ(contents(reading.package), contents(c.package));
  }
}

TEST(RtfdFlatReading, BoundsNesting) {
  for (int depth : {kMaxRtfdNesting, kMaxRtfdNesting + 1}) {
    SCOPED_TRACE(depth);
    std::string record = dataRecord("x");
    for (int i = 0; i < depth; ++i) record = directoryRecord({{"d", record}});
    const RtfdPackageReading reading = readFlatRtfdPackage(flat({kText, {"d", record}}));
    EXPECT_EQ(reading.error.kind,
              depth > kMaxRtfdNesting ? RichTextErrorKind::tooDeep : RichTextErrorKind::none);
  }
}

TEST(RtfdFlatWriting, WritesTextFirstThenAttachmentsByNameUnpadded) {
  const RtfdPackage package{std::string(kRtf),
                            {{"b", file("2")}, {"a", file("1")}, {"c", nullptr}}};
  EXPECT_EQ(writeFlatRtfdPackage(package),
            flat({kText, {"a", dataRecord("1")}, {"b", dataRecord("2")}, {"c", dataRecord("")}}));
}

TEST(RtfdFlatWriting, ReadsBackBinaryAndLargeFiles) {
  const RtfdPackage package{std::string("{\\rtf1 \0}", 9),
                            {{"a.png", file(allByteValues(256))},
                             {"big.bin", file(allByteValues(5 << 20))},
                             {"empty", file("")},
                             {"name with spaces \xC3\xA9", file(std::string(3, '\0'))}}};
  const RtfdPackageReading reading = readFlatRtfdPackage(writeFlatRtfdPackage(package));
  ASSERT_TRUE(reading.ok());
  EXPECT_EQ(contents(reading.package), contents(package));
}

TEST(RtfdFlatWriting, RefusesNamesTheReaderRefuses) {
  const std::string names[] = {
      "", ".", "..", "a/b", "TXT.rtf", "__@PreferredName@__", std::string("a\0b", 3)};
  for (const std::string& name : names) {
    SCOPED_TRACE(name);
    EXPECT_THROW(writeFlatRtfdPackage({"", {{name, file("x")}}}), std::invalid_argument);
  }
}

void writeFile(const fs::path& path, std::string_view bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
}

using RtfdBundle = ScratchTest;

TEST_F(RtfdBundle, WritesAndReadsBackThroughNewFolders) {
  const RtfdPackage package{std::string(kRtf),
                            {{"a.png", file(allByteValues(1000))}, {"b c.txt", file("")}}};
  const fs::path folder = directory_ / "new" / "Doc.rtfd";
  EXPECT_EQ(writeRtfdBundle(package, folder).kind, RichTextErrorKind::none);
  // Rewriting replaces the files in place and leaves no temporary file behind.
  EXPECT_EQ(writeRtfdBundle(package, folder).kind, RichTextErrorKind::none);
  EXPECT_EQ(std::distance(fs::directory_iterator(folder), fs::directory_iterator()), 3);
  const RtfdPackageReading reading = readRtfdBundle(folder);
  ASSERT_TRUE(reading.ok());
  EXPECT_EQ(contents(reading.package), contents(package));
}

TEST_F(RtfdBundle, ReadsOnlyRegularFilesInsideTheFolder) {
  const fs::path folder = directory_ / "Doc.rtfd";
  fs::create_directories(folder / "sub");
  writeFile(directory_ / "secret", "outside");
  writeFile(folder / "TXT.rtf", kRtf);
  writeFile(folder / "a.png", "png");
  writeFile(folder / "__@PreferredName@__", "Doc.rtfd");
  writeFile(folder / "sub" / "inner", "x");
  fs::create_symlink(directory_ / "secret", folder / "link");
  const RtfdPackageReading reading = readRtfdBundle(folder);
  ASSERT_TRUE(reading.ok());
  EXPECT_EQ(contents(reading.package), contents({std::string(kRtf), {{"a.png", file("png")}}}));
}

TEST_F(RtfdBundle, DoesNotFollowALinkedText) {
  writeFile(directory_ / "secret.rtf", kRtf);
  fs::create_directories(directory_ / "Doc.rtfd");
  fs::create_symlink(directory_ / "secret.rtf", directory_ / "Doc.rtfd" / "TXT.rtf");
  EXPECT_EQ(readRtfdBundle(directory_ / "Doc.rtfd").error.kind, RichTextErrorKind::missingText);
}

TEST_F(RtfdBundle, ReportsWhatCannotBeReadOrWritten) {
  writeFile(directory_ / "plain", "x");
  EXPECT_EQ(readRtfdBundle(directory_ / "absent").error.kind, RichTextErrorKind::unreadableFile);
  EXPECT_EQ(readRtfdBundle(directory_ / "plain").error.kind, RichTextErrorKind::unreadableFile);
  EXPECT_EQ(readRtfdBundle(directory_).error.kind, RichTextErrorKind::missingText);
  EXPECT_EQ(writeRtfdBundle({"", {}}, directory_ / "plain" / "Doc.rtfd").kind,
            RichTextErrorKind::unreadableFile);
  EXPECT_EQ(writeRtfdBundle({"", {{"../escaped", file("x")}}}, directory_ / "Doc.rtfd").kind,
            RichTextErrorKind::unreadableFile);
  EXPECT_FALSE(fs::exists(directory_ / "escaped"));
  EXPECT_FALSE(fs::exists(directory_ / "Doc.rtfd"));
}

// A folder attached whole, named by the text, comes back with its files and folders in either form.
TEST_F(RtfdBundle, AttachedFoldersComeBackWithEverythingInThem) {
  const std::string bytes = flat(
      {{"TXT.rtf", dataRecord("{\\rtf1 a{{\\NeXTGraphic Inner.rtfd \\width20 \\height20}\xAC}b}")},
       {"Inner.rtfd",
        directoryRecord({{"TXT.rtf", dataRecord("{\\rtf1 inner}")},
                         {"pics", directoryRecord({{"a.png", dataRecord("png")}})}})}});
  const RichTextReading reading = readRtfd(bytes);
  ASSERT_TRUE(reading.ok());
  const Attachment* folder =
      reading.text.attributesAtIndex(1).get<Attachment>(kAttachmentAttributeName);
  ASSERT_TRUE(folder && folder->directory);
  EXPECT_EQ(*folder->directory->files.at("TXT.rtf"), "{\\rtf1 inner}");
  EXPECT_EQ(*folder->directory->directories.at("pics")->files.at("a.png"), "png");
  EXPECT_EQ(writeRtfd(readRtfd(writeRtfd(reading.text)).text), writeRtfd(reading.text));

  const RtfdPackageReading flatAgain = readFlatRtfdPackage(writeRtfd(reading.text));
  ASSERT_TRUE(flatAgain.ok());
  EXPECT_EQ(
      *flatAgain.package.directories.at("Inner.rtfd")->directories.at("pics")->files.at("a.png"),
      "png");

  ASSERT_EQ(writeRtfdDirectory(reading.text, directory_ / "Doc.rtfd").kind,
            RichTextErrorKind::none);
  const RichTextReading fromFolder = readRtfdDirectory(directory_ / "Doc.rtfd");
  ASSERT_TRUE(fromFolder.ok());
  const Attachment* read =
      fromFolder.text.attributesAtIndex(1).get<Attachment>(kAttachmentAttributeName);
  ASSERT_TRUE(read && read->directory);
  EXPECT_EQ(*read->directory->directories.at("pics")->files.at("a.png"), "png");
}

// The seeds of the flat-package fuzzer; TEXTRIX_WRITE_FIXTURES=1 writes them anew.
TEST(RtfdFixtures, HoldTheirPackages) {
  const fs::path fixtures = fs::path(__FILE__).parent_path() / "fixtures";
  const struct {
    const char* name;
    std::string bytes;
  } cases[] = {
      {"minimal.rtfd", flat({{"TXT.rtf", dataRecord("{\\rtf1\\ansi Hello}")}})},
      {"attachment.rtfd",
       flat({{"TXT.rtf",
              dataRecord("{\\rtf1\\ansi A {{\\NeXTGraphic dot.png \\width20 \\height20}\xAC}}")},
             {"dot.png", dataRecord(std::string("\x89PNG\r\n\x1A\n\0\0\0\0", 12))}})},
      {"padded_nested.rtfd", flat({{".", dataRecord("")},
                                   {"__@UTF8PreferredName@__", dataRecord("Doc.rtfd")},
                                   {"TXT.rtf", paddedRecord("{\\rtf1 x}", 4)},
                                   {"folder", directoryRecord({{"inner", dataRecord("y")}})}})},
      {"attached_folder.rtfd",
       flat({{"TXT.rtf", dataRecord("{\\rtf1 {{\\NeXTGraphic Sub.rtfd \\width480 \\height480}\xAC}"
                                    "{\\pict\\emfblip\\picwgoal100 0102}}")},
             {"Sub.rtfd", directoryRecord({{"TXT.rtf", dataRecord("{\\rtf1 in}")},
                                           {"d", directoryRecord({{"x", dataRecord("y")}})}})}})},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    if (std::getenv("TEXTRIX_WRITE_FIXTURES")) writeFile(fixtures / c.name, c.bytes);
    EXPECT_EQ(slurp(fixtures / c.name), c.bytes);
    EXPECT_TRUE(readFlatRtfdPackage(c.bytes).ok());
  }
}

}  // namespace
}  // namespace textrix
