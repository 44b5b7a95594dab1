// The steps every service handler shares: read the selection in the handler's mode, transform it,
// write the result back, or store the handler's message when a step gives nothing.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "runtime/exchange.h"

namespace textrix::detail {

template <class T>
struct IsOptional : std::false_type {};
template <class T>
struct IsOptional<std::optional<T>> : std::true_type {};

// Writes result, or stores message when the result is a missing optional.
template <class Result>
void writeResultOrReport(const Service& service, Result&& result, ServicePasteboard& pboard,
                         std::string& error, std::string_view message) {
  if constexpr (IsOptional<std::decay_t<Result>>::value) {
    if (!result) {
      error = message;
      return;
    }
    service.writeString(ServiceText(std::move(*result)), pboard);
  } else {
    service.writeString(ServiceText(std::forward<Result>(result)), pboard);
  }
}

// The selection as getStringOfPboard reads it as plain text, but viewed where the pasteboard holds
// it when plain text is all it offers, without a copy; rich text is read into storage. The view
// lasts until the pasteboard or storage changes.
inline std::optional<std::u16string_view> plainStringOfPboard(const Service& service,
                                                              const ServicePasteboard& pboard,
                                                              std::u16string& storage) {
  if (pboard.containsType(kRTFDPboardType) || pboard.containsType(kRTFPboardType)) {
    std::optional<ServiceText> text = service.getStringOfPboard(pboard, false);
    if (!text) return std::nullopt;
    storage = std::get<std::u16string>(std::move(*text));
    return storage;
  }
  if (!pboard.containsType(kStringPboardType)) return std::nullopt;
  return pboard.stringForType(kStringPboardType);
}

// Reads the selection as plain text and writes back transform(text), a string or an optional one.
// A transform that takes a view reads the pasteboard's own string, which stays as it was until the
// result is written.
template <class Transform>
void servePlainText(const Service& service, ServicePasteboard& pboard, std::string& error,
                    std::string_view message, Transform&& transform) {
  if constexpr (std::is_invocable_v<Transform&, std::u16string_view>) {
    std::u16string storage;
    std::optional<std::u16string_view> text = plainStringOfPboard(service, pboard, storage);
    if (!text) {
      error = message;
      return;
    }
    writeResultOrReport(service, transform(*text), pboard, error, message);
    return;
  }
  std::optional<ServiceText> text = service.getStringOfPboard(pboard, false);
  if (!text) {
    error = message;
    return;
  }
  writeResultOrReport(service, transform(std::get<std::u16string>(*text)), pboard, error, message);
}

// Reads a mutable copy of the selection (attributed when rich text was offered), lets edit change
// it in place, whichever kind it is, and writes it back.
template <class Edit>
void serveMutableCopy(const Service& service, ServicePasteboard& pboard, std::string& error,
                      std::string_view message, Edit&& edit) {
  std::optional<ServiceText> text = service.getMutableStringOfPboard(pboard);
  if (!text) {
    error = message;
    return;
  }
  std::visit(std::forward<Edit>(edit), *text);
  service.writeString(std::move(*text), pboard);
}

}  // namespace textrix::detail
