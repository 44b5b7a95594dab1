// SPDX-License-Identifier: MIT
#include "services/line_stream.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "services/textrix.h"
#include "support/pasteboards.h"
#include "support/perform.h"
#include "text/encodings.h"

namespace textrix {
namespace {

using testing_pasteboards::plainPasteboard;
using testing_services::perform;

// What the service makes of the whole text in one request.
std::string wholeResult(Textrix& provider, const ServiceEntry& entry, const std::string& text) {
  ServicePasteboard pasteboard = plainPasteboard(utf16FromUtf8(text));
  EXPECT_EQ(perform(provider, entry.name, pasteboard), "");
  return encodeUtf8(pasteboard.stringForType(kStringPboardType).value_or(u"<none>"));
}

// A source over text that hands out at most step bytes a call, so that blocks end anywhere.
ByteSource sourceOf(const std::string& text, std::size_t step) {
  return [&text, step, at = std::size_t{0}](std::span<char> buffer) mutable {
    const std::size_t count = std::min({buffer.size(), step, text.size() - at});
    std::copy_n(text.data() + at, count, buffer.data());
    at += count;
    return std::optional<std::size_t>(count);
  };
}

std::string streamedResult(Textrix& provider, const ServiceEntry& entry, const std::string& text,
                           std::size_t blockBytes, std::size_t step) {
  LineStream stream(provider, entry);
  std::string out;
  const StreamStatus status = streamLines(
      stream, sourceOf(text, step),
      [&out](std::string_view bytes) {
        out.append(bytes);
        return true;
      },
      blockBytes);
  EXPECT_EQ(status, StreamStatus::done);
  return out;
}

// Random text over characters that the line-local services treat specially: blanks, every kind of
// line end, quote and case characters that change length, and a surrogate pair.
std::string randomText(std::mt19937& random, std::size_t pieces) {
  static const std::vector<std::string> kPieces = {
      "a",
      "Z",
      " ",
      "  ",
      "\t",
      "\n",
      "\r",
      "\r\n",
      "\n\r",
      ">",
      "<",
      "\"",
      "'",
      "\xC3\x9F",
      "\xCE\xA3",
      "\xC4\xB0",
      "\xF0\x9F\x98\x80",
      "é",
      "\f",
      "x.",
      "y,",
      "\xE2\x80\xA8",
      "\xE2\x80\x9C",
      "\xC2\xA0",
      "word",
      // Every other plain feed, and characters whose first bytes are those of a feed.
      "\x03",
      "\xE2\x80\xA9",
      "\xEF\xBB\xBF",
      "\xEF\xBF\xBC",
      "\xE2\x80\xA7",
      "\xEF\xBF\xBD",
      "\xE2\x80\x80",
      "\xE3\x80\x80",
  };
  std::uniform_int_distribution<std::size_t> pick(0, kPieces.size() - 1);
  std::string text;
  for (std::size_t i = 0; i < pieces; ++i) text += kPieces[pick(random)];
  return text;
}

TEST(LineStream, GivesTheWholeTextsResultForEveryLineByLineService) {
  Textrix provider;
  std::mt19937 random(13);
  std::vector<std::string> texts = {"", "\n", "no line end", "two\nlines\n", "\r\n\r\n  x  \n"};
  for (int i = 0; i < 60; ++i) texts.push_back(randomText(random, 1 + i * 3));
  for (const ServiceEntry& entry : serviceCatalogue()) {
    if (!entry.linesIndependent) continue;
    SCOPED_TRACE(entry.name);
    for (const std::string& text : texts) {
      const std::string expected = wholeResult(provider, entry, text);
      for (const auto& [block, step] : {std::pair<std::size_t, std::size_t>{1, 1},
                                        {3, 2},
                                        {16, 5},
                                        {64, 64},
                                        {1 << 16, 1 << 16}}) {
        ASSERT_EQ(streamedResult(provider, entry, text, block, step), expected)
            << "text \"" << text << "\", block " << block << ", step " << step;
      }
    }
  }
}

TEST(LineStream, HoldsALineLongerThanABlockWhole) {
  Textrix provider;
  const std::string line(1000, 'a');
  EXPECT_EQ(streamedResult(provider, *findService("upper"), line + "\n" + line, 10, 7),
            std::string(1000, 'A') + "\n" + std::string(1000, 'A'));
}

TEST(LineStream, StopsAtTheFirstFailure) {
  Textrix provider;
  LineStream stream(provider, *findService("rotate"));
  const std::string invalid = "ok\n\xC3(\n";
  const ByteSink keep = [](std::string_view) { return true; };
  const ByteSink refuse = [](std::string_view) { return false; };
  const ByteSource broken = [](std::span<char>) { return std::optional<std::size_t>(); };
  EXPECT_EQ(streamLines(stream, sourceOf(invalid, 64), keep, 64), StreamStatus::invalidUtf8);
  EXPECT_EQ(streamLines(stream, sourceOf("a\nb", 64), refuse, 64), StreamStatus::writeFailed);
  EXPECT_EQ(streamLines(stream, broken, keep, 64), StreamStatus::readFailed);
}

}  // namespace
}  // namespace textrix
