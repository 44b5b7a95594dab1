// SPDX-License-Identifier: MIT
#include "rich/rtf_code_pages.h"

#include <array>
#include <utility>

namespace textrix::detail {
namespace {

// The ICU name of a Windows or Mac code page.
std::string converterNameOfCodePage(int codePage) {
  switch (codePage) {
    case 437:
      return "ibm-437";
    case 850:
      return "ibm-850";
    case 10000:
      return "macintosh";
    case 10006:
      return "x-mac-greek";
    case 10007:
      return "x-mac-cyrillic";
    case 10029:
      return "x-mac-centraleurroman";
    case 10081:
      return "x-mac-turkish";
    default:
      return "windows-" + std::to_string(codePage);
  }
}

}  // namespace

int codePageOfCharset(int charset) {
  switch (charset) {
    case 77:
      return 10000;
    case 78:
      return 932;
    case 79:
      return 949;
    case 80:
      return 936;
    case 81:
      return 950;
    case 85:
      return 10006;
    case 86:
      return 10081;
    case 88:
      return 10029;
    case 89:
      return 10007;
    case 128:
      return 932;
    case 129:
      return 949;
    case 134:
      return 936;
    case 136:
      return 950;
    case 161:
      return 1253;
    case 162:
      return 1254;
    case 163:
      return 1258;
    case 177:
      return 1255;
    case 178:
      return 1256;
    case 186:
      return 1257;
    case 204:
      return 1251;
    case 222:
      return 874;
    case 238:
      return 1250;
    case 254:
      return 437;
    case 255:
      return 850;
    default:
      return 0;
  }
}

bool isDoubleByteCodePage(int codePage) {
  return codePage == 932 || codePage == 936 || codePage == 949 || codePage == 950;
}

UConverter* ConverterCache::converterFor(int codePage) {
  auto found = converters_.find(codePage);
  if (found != converters_.end()) return found->second.get();
  UErrorCode status = U_ZERO_ERROR;
  Converter converter(ucnv_open(converterNameOfCodePage(codePage).c_str(), &status));
  if (U_FAILURE(status)) converter.reset();
  UConverter* result = converter.get();
  converters_.emplace(codePage, std::move(converter));
  return result != nullptr || codePage == kDefaultCodePage ? result
                                                           : converterFor(kDefaultCodePage);
}

void decodeBytes(UConverter* converter, std::string_view bytes, std::u16string& out) {
  ucnv_reset(converter);
  const char* source = bytes.data();
  const char* const sourceEnd = source + bytes.size();
  std::array<char16_t, 1024> buffer;
  UErrorCode status;
  do {
    status = U_ZERO_ERROR;
    char16_t* target = buffer.data();
    ucnv_toUnicode(converter, &target, buffer.data() + buffer.size(), &source, sourceEnd, nullptr,
                   true, &status);
    out.append(buffer.data(), static_cast<std::size_t>(target - buffer.data()));
  } while (status == U_BUFFER_OVERFLOW_ERROR);
}

}  // namespace textrix::detail
