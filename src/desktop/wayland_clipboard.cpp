// SPDX-License-Identifier: MIT
#include "desktop/wayland_clipboard.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <map>
#include <span>
#include <utility>

#include "runtime/localization.h"
#include "util/shared_library.h"
#include "wlr-data-control-unstable-v1-client-protocol.h"

namespace textrix {
namespace {

// The functions of libwayland-client that the clipboard uses. The library is loaded when a display
// is first connected to, so that a run that never touches the clipboard neither loads it nor needs
// it. Only its functions are used: the protocol's interfaces, the core ones too, are generated into
// this build, and its requests are sent through wl_proxy_marshal_flags rather than through the
// inline functions of the protocol headers, which would link the library in.
struct WaylandLibrary {
  static constexpr const char* kSoname = "libwayland-client.so.0";
  decltype(&wl_display_cancel_read) displayCancelRead;
  decltype(&wl_display_connect) displayConnect;
  decltype(&wl_display_disconnect) displayDisconnect;
  decltype(&wl_display_dispatch_pending) displayDispatchPending;
  decltype(&wl_display_flush) displayFlush;
  decltype(&wl_display_get_fd) displayGetFd;
  decltype(&wl_display_prepare_read) displayPrepareRead;
  decltype(&wl_display_read_events) displayReadEvents;
  decltype(&wl_display_roundtrip) displayRoundtrip;
  decltype(&wl_proxy_add_listener) proxyAddListener;
  decltype(&wl_proxy_destroy) proxyDestroy;
  decltype(&wl_proxy_get_version) proxyGetVersion;
  decltype(&wl_proxy_marshal_flags) proxyMarshalFlags;

  // Each function by its name in the library.
  std::vector<SharedFunction> table() {
    return {{displayCancelRead, "wl_display_cancel_read"},
            {displayConnect, "wl_display_connect"},
            {displayDisconnect, "wl_display_disconnect"},
            {displayDispatchPending, "wl_display_dispatch_pending"},
            {displayFlush, "wl_display_flush"},
            {displayGetFd, "wl_display_get_fd"},
            {displayPrepareRead, "wl_display_prepare_read"},
            {displayReadEvents, "wl_display_read_events"},
            {displayRoundtrip, "wl_display_roundtrip"},
            {proxyAddListener, "wl_proxy_add_listener"},
            {proxyDestroy, "wl_proxy_destroy"},
            {proxyGetVersion, "wl_proxy_get_version"},
            {proxyMarshalFlags, "wl_proxy_marshal_flags"}};
  }
};

// libwayland-client, loaded on the first call.
const SharedLibrary<WaylandLibrary>& loadedWayland() {
  return SharedLibrary<WaylandLibrary>::loaded();
}

// libwayland-client, for every step that works on a connection: connections are made only once it
// is loaded.
const WaylandLibrary& wl() {
  return *loadedWayland().functions();
}

wl_proxy* proxyOf(void* object) {
  return static_cast<wl_proxy*>(object);
}

// Sends the request with its arguments (a null in the place of the new object's id, as the
// protocol headers do); the new object when the request makes one of the interface.
template <typename... Arguments>
wl_proxy* sendRequest(void* object, std::uint32_t opcode, const wl_interface* made,
                      Arguments... arguments) {
  return wl().proxyMarshalFlags(proxyOf(object), opcode, made,
                                wl().proxyGetVersion(proxyOf(object)), 0, arguments...);
}

// Sends the object's destructor request and forgets the object.
void sendDestructor(void* object, std::uint32_t opcode) {
  wl().proxyMarshalFlags(proxyOf(object), opcode, nullptr, wl().proxyGetVersion(proxyOf(object)),
                         WL_MARSHAL_FLAG_DESTROY);
}

template <typename Listener>
void listen(void* object, const Listener& listener, void* data) {
  wl().proxyAddListener(proxyOf(object),
                        reinterpret_cast<void (**)(void)>(const_cast<Listener*>(&listener)), data);
}

// The data-control version up to which this client knows the protocol: 2 adds the primary
// selection.
constexpr std::uint32_t kDataControlVersion = 2;

}  // namespace

namespace detail {

// A connection with the data-control device of its first seat, and the offers the device has
// announced with their MIME types.
struct WaylandState {
  wl_display* display = nullptr;
  wl_proxy* registry = nullptr;
  wl_proxy* manager = nullptr;
  wl_proxy* seat = nullptr;
  wl_proxy* device = nullptr;
  std::map<wl_proxy*, std::vector<std::string>> offers;
  wl_proxy* clipboard = nullptr;  // the offer of each selection, null when it has no owner
  wl_proxy* primary = nullptr;
  bool finished = false;  // the device is no longer valid

  ~WaylandState() {
    for (const auto& [offer, types] : offers) {
      sendDestructor(offer, ZWLR_DATA_CONTROL_OFFER_V1_DESTROY);
    }
    if (device) sendDestructor(device, ZWLR_DATA_CONTROL_DEVICE_V1_DESTROY);
    if (manager) sendDestructor(manager, ZWLR_DATA_CONTROL_MANAGER_V1_DESTROY);
    if (seat) wl().proxyDestroy(seat);
    if (registry) wl().proxyDestroy(registry);
    if (display) wl().displayDisconnect(display);
  }

  wl_proxy*& offerOf(WaylandSelection selection) {
    return selection == WaylandSelection::primary ? primary : clipboard;
  }

  // The selection's offer is now offer; the one it replaces is destroyed unless the other
  // selection still holds it.
  void replaceOffer(WaylandSelection selection, wl_proxy* offer) {
    wl_proxy* const replaced = std::exchange(offerOf(selection), offer);
    if (!replaced || replaced == clipboard || replaced == primary) return;
    sendDestructor(replaced, ZWLR_DATA_CONTROL_OFFER_V1_DESTROY);
    offers.erase(replaced);
  }
};

}  // namespace detail

namespace {

using detail::WaylandState;
using Clock = std::chrono::steady_clock;

WaylandState& stateOf(void* data) {
  return *static_cast<WaylandState*>(data);
}

const wl_registry_listener kRegistryListener = {
    .global =
        [](void* data, wl_registry* registry, std::uint32_t name, const char* interface,
           std::uint32_t version) {
          WaylandState& state = stateOf(data);
          // The new object has the version bound, not the registry's.
          const auto bind = [&](const wl_interface* bound, std::uint32_t boundVersion) {
            return wl().proxyMarshalFlags(proxyOf(registry), WL_REGISTRY_BIND, bound, boundVersion,
                                          0, name, bound->name, boundVersion, nullptr);
          };
          if (!state.manager &&
              std::strcmp(interface, zwlr_data_control_manager_v1_interface.name) == 0) {
            state.manager = bind(&zwlr_data_control_manager_v1_interface,
                                 std::min(version, kDataControlVersion));
          } else if (!state.seat && std::strcmp(interface, wl_seat_interface.name) == 0) {
            state.seat = bind(&wl_seat_interface, 1);
          }
        },
    .global_remove = [](void*, wl_registry*, std::uint32_t) {},
};

const zwlr_data_control_offer_v1_listener kOfferListener = {
    .offer = [](void* data, zwlr_data_control_offer_v1* offer,
                const char* type) { stateOf(data).offers[proxyOf(offer)].emplace_back(type); },
};

const zwlr_data_control_device_v1_listener kDeviceListener = {
    .data_offer =
        [](void* data, zwlr_data_control_device_v1*, zwlr_data_control_offer_v1* offer) {
          stateOf(data).offers.try_emplace(proxyOf(offer));
          listen(offer, kOfferListener, data);
        },
    .selection =
        [](void* data, zwlr_data_control_device_v1*, zwlr_data_control_offer_v1* offer) {
          stateOf(data).replaceOffer(WaylandSelection::clipboard, proxyOf(offer));
        },
    .finished = [](void* data, zwlr_data_control_device_v1*) { stateOf(data).finished = true; },
    .primary_selection =
        [](void* data, zwlr_data_control_device_v1*, zwlr_data_control_offer_v1* offer) {
          stateOf(data).replaceOffer(WaylandSelection::primary, proxyOf(offer));
        },
};

std::string libraryProblem(const SharedLibrary<WaylandLibrary>& library) {
  return localizedFormat(
      "cannot use the Wayland display without libwayland-client (install libwayland-client0): {0}",
      {library.error()});
}

// Connects, binds the data-control manager and the first seat, and learns the selections' offers;
// null with the problem set when something on the way is missing.
std::unique_ptr<WaylandState> connect(const std::string& display, std::string& problem) {
  if (const SharedLibrary<WaylandLibrary>& library = loadedWayland(); !library.functions()) {
    problem = libraryProblem(library);
    return nullptr;
  }
  auto state = std::make_unique<WaylandState>();
  state->display = wl().displayConnect(display.c_str());
  if (!state->display) {
    problem = localizedFormat("cannot connect to the Wayland display {0}", {display});
    return nullptr;
  }
  state->registry =
      sendRequest(state->display, WL_DISPLAY_GET_REGISTRY, &wl_registry_interface, nullptr);
  listen(state->registry, kRegistryListener, state.get());
  if (wl().displayRoundtrip(state->display) < 0) {
    problem = localizedFormat("the Wayland display {0} closed the connection", {display});
    return nullptr;
  }
  if (!state->manager) {
    problem = localizedFormat("the Wayland compositor does not offer {0}",
                              {zwlr_data_control_manager_v1_interface.name});
    return nullptr;
  }
  if (!state->seat) {
    problem = localized("the Wayland compositor has no seat");
    return nullptr;
  }
  state->device = sendRequest(state->manager, ZWLR_DATA_CONTROL_MANAGER_V1_GET_DATA_DEVICE,
                              &zwlr_data_control_device_v1_interface, nullptr, state->seat);
  listen(state->device, kDeviceListener, state.get());
  // The device announces the selections' offers when it is made.
  if (wl().displayRoundtrip(state->display) < 0) {
    problem = localized("the Wayland compositor refused a data-control device");
    return nullptr;
  }
  return state;
}

// Milliseconds from now until the deadline for poll: at least 0, rounded up so that a wait does
// not end just before it.
int millisecondsUntil(Clock::time_point deadline) {
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
  return static_cast<int>(std::clamp<long long>(left, 0, 60'000));
}

// Reads the pipe to its end; none when the writer sends nothing for kSelectionTimeout.
std::optional<std::string> readToEnd(int descriptor) {
  constexpr int kTimeoutMilliseconds = std::chrono::milliseconds(kSelectionTimeout).count();
  std::string bytes;
  char buffer[1 << 16];
  while (true) {
    pollfd waiting{descriptor, POLLIN, 0};
    const int ready = ::poll(&waiting, 1, kTimeoutMilliseconds);
    if (ready < 0 && errno == EINTR) continue;
    if (ready <= 0) return std::nullopt;
    const ssize_t got = ::read(descriptor, buffer, sizeof buffer);
    if (got < 0 && (errno == EINTR || errno == EAGAIN)) continue;
    if (got < 0) return std::nullopt;
    if (got == 0) return bytes;
    bytes.append(buffer, static_cast<std::size_t>(got));
  }
}

// One MIME type of the offer and the content that it sends.
struct OfferedType {
  std::string type;
  std::size_t content;
};

// The names of UTF-8 text that readers ask for besides text/plain;charset=utf-8: X11's, through
// Xwayland or from clients that grew up there, and plain text/plain.
constexpr std::string_view kTextAliases[] = {"text/plain;charset=utf-8", "UTF8_STRING",
                                             "text/plain", "TEXT"};

bool isAscii(std::string_view bytes) {
  return std::all_of(bytes.begin(), bytes.end(),
                     [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

// Each content under its own type, then the UTF-8 text under the names of kTextAliases that no
// content has, and under STRING (Latin-1) only when it is ASCII, where both encodings agree.
std::vector<OfferedType> offeredTypes(const std::vector<SelectionContent>& contents) {
  std::vector<OfferedType> offered;
  const auto add = [&](std::string_view type, std::size_t content) {
    const bool known = std::any_of(offered.begin(), offered.end(),
                                   [&](const OfferedType& o) { return o.type == type; });
    if (!known) offered.push_back({std::string(type), content});
  };
  for (std::size_t i = 0; i < contents.size(); ++i) add(contents[i].target, i);
  const auto text = std::find_if(contents.begin(), contents.end(), [](const SelectionContent& c) {
    return c.target == kTextAliases[0] || c.target == kTextAliases[1];
  });
  if (text == contents.end()) return offered;
  const auto index = static_cast<std::size_t>(text - contents.begin());
  for (std::string_view alias : kTextAliases) add(alias, index);
  if (isAscii(text->bytes)) add("STRING", index);
  return offered;
}

// The owner's side of one paste: what is left to write into the reader's pipe.
struct Paste {
  int descriptor;
  std::string_view rest;
  Clock::time_point deadline;  // when the paste is dropped unless the reader takes more before
};

// What the owner of the clipboard offers and its pastes under way.
class ClipboardServer {
 public:
  ClipboardServer(WaylandState& state, std::vector<SelectionContent> contents)
      : state_(state), contents_(std::move(contents)), offered_(offeredTypes(contents_)) {}
  ~ClipboardServer() {
    for (const Paste& paste : pastes_) ::close(paste.descriptor);
    if (source_) sendDestructor(source_, ZWLR_DATA_CONTROL_SOURCE_V1_DESTROY);
  }
  ClipboardServer(const ClipboardServer&) = delete;
  ClipboardServer& operator=(const ClipboardServer&) = delete;

  // Offers every type and makes the offer the clipboard; false when the compositor did not keep
  // it.
  bool own() {
    source_ = sendRequest(state_.manager, ZWLR_DATA_CONTROL_MANAGER_V1_CREATE_DATA_SOURCE,
                          &zwlr_data_control_source_v1_interface, nullptr);
    listen(source_, kSourceListener, this);
    for (const OfferedType& offered : offered_) {
      sendRequest(source_, ZWLR_DATA_CONTROL_SOURCE_V1_OFFER, nullptr, offered.type.c_str());
    }
    sendRequest(state_.device, ZWLR_DATA_CONTROL_DEVICE_V1_SET_SELECTION, nullptr, source_);
    return wl().displayRoundtrip(state_.display) >= 0 && !cancelled_ && !state_.finished;
  }

  // Serves pastes until another client owns the clipboard or the connection ends; the pastes
  // under way then are finished first.
  void serve() {
    wl_display* const display = state_.display;
    while (listening() || !pastes_.empty()) {
      const bool listened = listening();
      std::vector<pollfd> descriptors;
      if (listened) {
        while (wl().displayPrepareRead(display) != 0) {
          if (wl().displayDispatchPending(display) < 0) return;
        }
        wl().displayFlush(display);
        descriptors.push_back({wl().displayGetFd(display), POLLIN, 0});
      }
      for (const Paste& paste : pastes_) descriptors.push_back({paste.descriptor, POLLOUT, 0});
      const int ready = ::poll(descriptors.data(), descriptors.size(), pollTimeout());
      if (listened) {
        if (ready > 0 && descriptors.front().revents != 0) {
          if (wl().displayReadEvents(display) < 0) return;
        } else {
          wl().displayCancelRead(display);
        }
      }
      advancePastes(std::span(descriptors).subspan(listened ? 1 : 0));
      if (listened && wl().displayDispatchPending(display) < 0) return;
    }
  }

 private:
  static const zwlr_data_control_source_v1_listener kSourceListener;

  static ClipboardServer& serverOf(void* data) { return *static_cast<ClipboardServer*>(data); }

  bool listening() const { return !cancelled_ && !state_.finished; }

  // A reader asks for the type: its pipe is written as it takes the bytes, or closed at once when
  // the type is not offered.
  void startPaste(const char* type, int descriptor) {
    const auto offered = std::find_if(offered_.begin(), offered_.end(),
                                      [&](const OfferedType& o) { return o.type == type; });
    const std::string_view bytes =
        offered == offered_.end() ? std::string_view() : contents_[offered->content].bytes;
    if (bytes.empty() || ::fcntl(descriptor, F_SETFL, O_NONBLOCK) != 0) {
      ::close(descriptor);
      return;
    }
    pastes_.push_back({descriptor, bytes, Clock::now() + kSelectionTimeout});
  }

  // Writes what each reader's pipe takes now; a paste ends when written whole, when its reader
  // has gone, or when its reader took nothing until its deadline.
  void advancePastes(std::span<const pollfd> polled) {
    const Clock::time_point now = Clock::now();
    for (std::size_t i = 0; i < polled.size(); ++i) {
      Paste& paste = pastes_[i];
      bool failed = false;
      if (polled[i].revents != 0) {
        const ssize_t written = ::write(paste.descriptor, paste.rest.data(), paste.rest.size());
        if (written > 0) {
          paste.rest.remove_prefix(static_cast<std::size_t>(written));
          paste.deadline = now + kSelectionTimeout;
        } else {
          failed = written < 0 && errno != EAGAIN && errno != EINTR;
        }
      }
      if (failed || paste.rest.empty() || now >= paste.deadline) {
        ::close(paste.descriptor);
        paste.descriptor = -1;
      }
    }
    std::erase_if(pastes_, [](const Paste& paste) { return paste.descriptor < 0; });
  }

  // How long poll may wait: until the earliest deadline of a paste, or for an event.
  int pollTimeout() const {
    if (pastes_.empty()) return -1;
    const auto earliest =
        std::min_element(pastes_.begin(), pastes_.end(),
                         [](const Paste& a, const Paste& b) { return a.deadline < b.deadline; });
    return millisecondsUntil(earliest->deadline);
  }

  WaylandState& state_;
  std::vector<SelectionContent> contents_;
  std::vector<OfferedType> offered_;
  wl_proxy* source_ = nullptr;
  bool cancelled_ = false;  // another client owns the clipboard
  std::vector<Paste> pastes_;
};

const zwlr_data_control_source_v1_listener ClipboardServer::kSourceListener = {
    .send = [](void* data, zwlr_data_control_source_v1*, const char* type,
               std::int32_t descriptor) { serverOf(data).startPaste(type, descriptor); },
    .cancelled = [](void* data, zwlr_data_control_source_v1*) { serverOf(data).cancelled_ = true; },
};

}  // namespace

WaylandClipboard::WaylandClipboard(std::unique_ptr<detail::WaylandState> state)
    : state_(std::move(state)) {}
WaylandClipboard::~WaylandClipboard() = default;

std::unique_ptr<WaylandClipboard> WaylandClipboard::open(const std::string& display,
                                                         std::string& problem) {
  std::unique_ptr<WaylandState> state = connect(display, problem);
  if (!state) return nullptr;
  return std::unique_ptr<WaylandClipboard>(new WaylandClipboard(std::move(state)));
}

bool WaylandClipboard::hasPrimarySelection() const {
  return wl().proxyGetVersion(state_->manager) >= 2;
}

std::vector<std::string> WaylandClipboard::selectionTypes(WaylandSelection selection) {
  // A round trip first, so that the offers are those of now.
  if (wl().displayRoundtrip(state_->display) < 0) return {};
  const auto offer = state_->offers.find(state_->offerOf(selection));
  return offer != state_->offers.end() ? offer->second : std::vector<std::string>();
}

std::optional<std::string> WaylandClipboard::readSelection(WaylandSelection selection,
                                                           std::string_view type) {
  const std::vector<std::string> types = selectionTypes(selection);
  if (std::find(types.begin(), types.end(), type) == types.end()) return std::nullopt;
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) return std::nullopt;
  sendRequest(state_->offerOf(selection), ZWLR_DATA_CONTROL_OFFER_V1_RECEIVE, nullptr,
              std::string(type).c_str(), ends[1]);
  wl().displayFlush(state_->display);
  ::close(ends[1]);
  std::optional<std::string> bytes = readToEnd(ends[0]);
  ::close(ends[0]);
  return bytes;
}

BackgroundOwner serveWaylandClipboardInBackground(const std::string& display,
                                                  std::vector<SelectionContent> contents) {
  // Loaded before the fork: a child of a process with threads must not take the dynamic linker's
  // lock, which another thread may have held at the fork.
  if (const SharedLibrary<WaylandLibrary>& library = loadedWayland(); !library.functions()) {
    return {-1, libraryProblem(library)};
  }
  const auto own = [&](const std::function<void()>& owned) -> std::string {
    // A reader that leaves early closes its pipe: the write then fails instead of ending the owner.
    ::signal(SIGPIPE, SIG_IGN);
    std::string problem;
    std::unique_ptr<WaylandState> state = connect(display, problem);
    if (!state) return problem;
    ClipboardServer server(*state, std::move(contents));
    if (!server.own()) {
      return localized("the Wayland compositor did not make textrix the clipboard's owner");
    }
    owned();
    server.serve();
    return {};
  };
  return ownInBackground(own);
}

}  // namespace textrix
