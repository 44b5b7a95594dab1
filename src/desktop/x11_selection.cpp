// SPDX-License-Identifier: MIT
#include "desktop/x11_selection.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>
#include <xcb/xcb.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <functional>

#include "runtime/localization.h"
#include "util/shared_library.h"

namespace textrix {
namespace {

// The functions of libxcb that the selections use. The library is loaded when a display is first
// connected to, so that a run that never reads a selection neither loads it nor needs it.
struct XcbLibrary {
  static constexpr const char* kSoname = "libxcb.so.1";
  decltype(&xcb_change_property) changeProperty;
  decltype(&xcb_change_window_attributes) changeWindowAttributes;
  decltype(&xcb_connect) connect;
  decltype(&xcb_connection_has_error) connectionHasError;
  decltype(&xcb_convert_selection) convertSelection;
  decltype(&xcb_create_window) createWindow;
  decltype(&xcb_delete_property) deleteProperty;
  decltype(&xcb_disconnect) disconnect;
  decltype(&xcb_flush) flush;
  decltype(&xcb_generate_id) generateId;
  decltype(&xcb_get_atom_name) getAtomName;
  decltype(&xcb_get_atom_name_name) getAtomNameName;
  decltype(&xcb_get_atom_name_name_length) getAtomNameNameLength;
  decltype(&xcb_get_atom_name_reply) getAtomNameReply;
  decltype(&xcb_get_file_descriptor) getFileDescriptor;
  decltype(&xcb_get_property) getProperty;
  decltype(&xcb_get_property_reply) getPropertyReply;
  decltype(&xcb_get_property_value) getPropertyValue;
  decltype(&xcb_get_property_value_length) getPropertyValueLength;
  decltype(&xcb_get_selection_owner) getSelectionOwner;
  decltype(&xcb_get_selection_owner_reply) getSelectionOwnerReply;
  decltype(&xcb_get_setup) getSetup;
  decltype(&xcb_intern_atom) internAtom;
  decltype(&xcb_intern_atom_reply) internAtomReply;
  decltype(&xcb_poll_for_event) pollForEvent;
  decltype(&xcb_screen_next) screenNext;
  decltype(&xcb_send_event) sendEvent;
  decltype(&xcb_set_selection_owner) setSelectionOwner;
  decltype(&xcb_setup_roots_iterator) setupRootsIterator;
  decltype(&xcb_wait_for_event) waitForEvent;

  // Each function by its name in the library.
  std::vector<SharedFunction> table() {
    return {{changeProperty, "xcb_change_property"},
            {changeWindowAttributes, "xcb_change_window_attributes"},
            {connect, "xcb_connect"},
            {connectionHasError, "xcb_connection_has_error"},
            {convertSelection, "xcb_convert_selection"},
            {createWindow, "xcb_create_window"},
            {deleteProperty, "xcb_delete_property"},
            {disconnect, "xcb_disconnect"},
            {flush, "xcb_flush"},
            {generateId, "xcb_generate_id"},
            {getAtomName, "xcb_get_atom_name"},
            {getAtomNameName, "xcb_get_atom_name_name"},
            {getAtomNameNameLength, "xcb_get_atom_name_name_length"},
            {getAtomNameReply, "xcb_get_atom_name_reply"},
            {getFileDescriptor, "xcb_get_file_descriptor"},
            {getProperty, "xcb_get_property"},
            {getPropertyReply, "xcb_get_property_reply"},
            {getPropertyValue, "xcb_get_property_value"},
            {getPropertyValueLength, "xcb_get_property_value_length"},
            {getSelectionOwner, "xcb_get_selection_owner"},
            {getSelectionOwnerReply, "xcb_get_selection_owner_reply"},
            {getSetup, "xcb_get_setup"},
            {internAtom, "xcb_intern_atom"},
            {internAtomReply, "xcb_intern_atom_reply"},
            {pollForEvent, "xcb_poll_for_event"},
            {screenNext, "xcb_screen_next"},
            {sendEvent, "xcb_send_event"},
            {setSelectionOwner, "xcb_set_selection_owner"},
            {setupRootsIterator, "xcb_setup_roots_iterator"},
            {waitForEvent, "xcb_wait_for_event"}};
  }
};

// libxcb, loaded on the first call.
const SharedLibrary<XcbLibrary>& loadedXcb() {
  return SharedLibrary<XcbLibrary>::loaded();
}

// libxcb, for every step that works on a connection: connections are made only once it is loaded.
const XcbLibrary& xcb() {
  return *loadedXcb().functions();
}

}  // namespace

namespace detail {

struct X11State {
  xcb_connection_t* connection = nullptr;
  xcb_window_t root = XCB_NONE;
  xcb_window_t window = XCB_NONE;  // unmapped, receives properties and their changes

  ~X11State() {
    if (connection) xcb().disconnect(connection);
  }
};

}  // namespace detail

namespace {

using detail::X11State;
using Clock = std::chrono::steady_clock;

// Results of xcb replies and events, freed as xcb asks.
template <typename T>
using XcbPointer = std::unique_ptr<T, decltype(&std::free)>;
template <typename T>
XcbPointer<T> owned(T* pointer) {
  return XcbPointer<T>(pointer, &std::free);
}

// The most bytes that one property change carries; a larger content goes in INCR steps.
constexpr std::size_t kIncrChunkBytes = std::size_t{256} << 10;

xcb_atom_t atomNamed(xcb_connection_t* connection, std::string_view name) {
  auto reply = owned(xcb().internAtomReply(
      connection,
      xcb().internAtom(connection, 0, static_cast<std::uint16_t>(name.size()), name.data()),
      nullptr));
  return reply ? reply->atom : XCB_NONE;
}

// The names of the atoms, asked for in one round trip; an atom without a name gives "".
std::vector<std::string> atomNames(xcb_connection_t* connection,
                                   const std::vector<xcb_atom_t>& atoms) {
  std::vector<xcb_get_atom_name_cookie_t> cookies;
  for (xcb_atom_t atom : atoms) cookies.push_back(xcb().getAtomName(connection, atom));
  std::vector<std::string> names;
  for (xcb_get_atom_name_cookie_t cookie : cookies) {
    auto reply = owned(xcb().getAtomNameReply(connection, cookie, nullptr));
    names.push_back(reply ? std::string(xcb().getAtomNameName(reply.get()),
                                        xcb().getAtomNameNameLength(reply.get()))
                          : std::string());
  }
  return names;
}

// The next event that matches, waiting at most until the deadline; null on time-out or when the
// connection fails. Events that do not match are dropped.
XcbPointer<xcb_generic_event_t> waitForEvent(
    xcb_connection_t* connection, Clock::time_point deadline,
    const std::function<bool(const xcb_generic_event_t&)>& matches) {
  while (true) {
    while (xcb_generic_event_t* event = xcb().pollForEvent(connection)) {
      auto pointer = owned(event);
      if (matches(*pointer)) return pointer;
    }
    if (xcb().connectionHasError(connection)) return owned<xcb_generic_event_t>(nullptr);
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
    if (left <= 0) return owned<xcb_generic_event_t>(nullptr);
    pollfd descriptor{xcb().getFileDescriptor(connection), POLLIN, 0};
    ::poll(&descriptor, 1, static_cast<int>(std::min<long long>(left, 1000)));
  }
}

std::uint8_t eventType(const xcb_generic_event_t& event) {
  return event.response_type & 0x7F;
}

// A window of the connection's first screen that no one sees, with property changes selected.
xcb_window_t createHiddenWindow(xcb_connection_t* connection, xcb_window_t root) {
  const xcb_window_t window = xcb().generateId(connection);
  const std::uint32_t mask = XCB_EVENT_MASK_PROPERTY_CHANGE;
  xcb().createWindow(connection, XCB_COPY_FROM_PARENT, window, root, 0, 0, 1, 1, 0,
                     XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, XCB_CW_EVENT_MASK, &mask);
  return window;
}

// Connects and creates the hidden window; null with the problem set when the display is not there
// or libxcb cannot be loaded.
std::unique_ptr<X11State> connect(const std::string& display, std::string& problem) {
  if (const SharedLibrary<XcbLibrary>& library = loadedXcb(); !library.functions()) {
    problem = localizedFormat("cannot use the X display without libxcb (install libxcb1): {0}",
                              {library.error()});
    return nullptr;
  }
  auto state = std::make_unique<X11State>();
  int screenNumber = 0;
  state->connection = xcb().connect(display.c_str(), &screenNumber);
  if (xcb().connectionHasError(state->connection)) {
    problem = localizedFormat("cannot open the X display {0}",
                              {display.empty() ? localized("(none)") : display});
    return nullptr;
  }
  xcb_screen_iterator_t screens = xcb().setupRootsIterator(xcb().getSetup(state->connection));
  for (int i = 0; i < screenNumber && screens.rem > 0; ++i) xcb().screenNext(&screens);
  if (screens.rem == 0) {
    problem = localizedFormat("the X display {0} has no screen {1}",
                              {display, std::to_string(screenNumber)});
    return nullptr;
  }
  state->root = screens.data->root;
  state->window = createHiddenWindow(state->connection, state->root);
  xcb().flush(state->connection);
  return state;
}

// The server time now, learnt from the change event of an empty append to the window's property.
xcb_timestamp_t serverTime(xcb_connection_t* connection, xcb_window_t window, xcb_atom_t property) {
  xcb().changeProperty(connection, XCB_PROP_MODE_APPEND, window, property, XCB_ATOM_STRING, 8, 0,
                       nullptr);
  xcb().flush(connection);
  auto event = waitForEvent(connection, Clock::now() + kSelectionTimeout, [&](const auto& e) {
    return eventType(e) == XCB_PROPERTY_NOTIFY &&
           reinterpret_cast<const xcb_property_notify_event_t&>(e).window == window;
  });
  return event ? reinterpret_cast<xcb_property_notify_event_t*>(event.get())->time
               : XCB_CURRENT_TIME;
}

// Reads and deletes the window's property: its type and bytes, none when it cannot be read.
std::optional<std::pair<xcb_atom_t, std::string>> takeProperty(xcb_connection_t* connection,
                                                               xcb_window_t window,
                                                               xcb_atom_t property) {
  auto reply = owned(xcb().getPropertyReply(
      connection,
      xcb().getProperty(connection, 1, window, property, XCB_GET_PROPERTY_TYPE_ANY, 0, 0x1FFFFFFF),
      nullptr));
  if (!reply) return std::nullopt;
  const auto* value = static_cast<const char*>(xcb().getPropertyValue(reply.get()));
  return std::pair{
      reply->type,
      std::string(value, static_cast<std::size_t>(xcb().getPropertyValueLength(reply.get())))};
}

// The owner's side of one transfer in INCR steps: what is left to send to whom.
struct IncrTransfer {
  xcb_window_t requestor;
  xcb_atom_t property;
  xcb_atom_t type;
  std::size_t content;  // index into the contents
  std::size_t offset;   // bytes sent so far
  bool finished;        // the last chunk went; the empty one that ends the transfer is next
};

// What the owner of a selection offers and its transfers under way.
class SelectionServer {
 public:
  SelectionServer(X11State& state, xcb_atom_t selection, std::vector<SelectionContent> contents)
      : state_(state), selection_(selection), contents_(std::move(contents)) {
    xcb_connection_t* c = state_.connection;
    targets_ = atomNamed(c, "TARGETS");
    timestamp_ = atomNamed(c, "TIMESTAMP");
    incr_ = atomNamed(c, "INCR");
    for (const SelectionContent& content : contents_)
      atoms_.push_back(atomNamed(c, content.target));
  }

  // Takes the selection; false when the server did not make this window its owner.
  bool own() {
    xcb_connection_t* c = state_.connection;
    time_ = serverTime(c, state_.window, atomNamed(c, "TEXTRIX_TIME"));
    xcb().setSelectionOwner(c, state_.window, selection_, time_);
    auto reply =
        owned(xcb().getSelectionOwnerReply(c, xcb().getSelectionOwner(c, selection_), nullptr));
    return reply && reply->owner == state_.window;
  }

  // Answers requests until another client owns the selection or the connection ends.
  void serve() {
    xcb_connection_t* c = state_.connection;
    while (xcb_generic_event_t* raw = xcb().waitForEvent(c)) {
      auto event = owned(raw);
      switch (eventType(*event)) {
        case XCB_SELECTION_CLEAR:
          if (reinterpret_cast<xcb_selection_clear_event_t*>(raw)->selection == selection_) return;
          break;
        case XCB_SELECTION_REQUEST:
          answer(*reinterpret_cast<xcb_selection_request_event_t*>(raw));
          break;
        case XCB_PROPERTY_NOTIFY:
          continueTransfer(*reinterpret_cast<xcb_property_notify_event_t*>(raw));
          break;
        default:
          break;
      }
      xcb().flush(c);
    }
  }

 private:
  void answer(const xcb_selection_request_event_t& request) {
    xcb_connection_t* c = state_.connection;
    // A client from before ICCCM names no property: the target is the property then.
    xcb_atom_t property = request.property == XCB_NONE ? request.target : request.property;
    const auto found = std::find(atoms_.begin(), atoms_.end(), request.target);
    if (request.selection != selection_ ||
        (request.time != XCB_CURRENT_TIME && request.time < time_)) {
      property = XCB_NONE;
    } else if (request.target == targets_) {
      std::vector<xcb_atom_t> offered = {targets_, timestamp_};
      offered.insert(offered.end(), atoms_.begin(), atoms_.end());
      xcb().changeProperty(c, XCB_PROP_MODE_REPLACE, request.requestor, property, XCB_ATOM_ATOM, 32,
                           static_cast<std::uint32_t>(offered.size()), offered.data());
    } else if (request.target == timestamp_) {
      xcb().changeProperty(c, XCB_PROP_MODE_REPLACE, request.requestor, property, XCB_ATOM_INTEGER,
                           32, 1, &time_);
    } else if (found != atoms_.end()) {
      const std::size_t index = static_cast<std::size_t>(found - atoms_.begin());
      const std::string& bytes = contents_[index].bytes;
      if (bytes.size() <= kIncrChunkBytes) {
        xcb().changeProperty(c, XCB_PROP_MODE_REPLACE, request.requestor, property, *found, 8,
                             static_cast<std::uint32_t>(bytes.size()), bytes.data());
      } else {
        const std::uint32_t mask = XCB_EVENT_MASK_PROPERTY_CHANGE;
        xcb().changeWindowAttributes(c, request.requestor, XCB_CW_EVENT_MASK, &mask);
        const auto size = static_cast<std::uint32_t>(bytes.size());
        xcb().changeProperty(c, XCB_PROP_MODE_REPLACE, request.requestor, property, incr_, 32, 1,
                             &size);
        transfers_.push_back({request.requestor, property, *found, index, 0, false});
      }
    } else {
      property = XCB_NONE;  // MULTIPLE and every target not offered are refused
    }
    xcb_selection_notify_event_t notify{};
    notify.response_type = XCB_SELECTION_NOTIFY;
    notify.time = request.time;
    notify.requestor = request.requestor;
    notify.selection = request.selection;
    notify.target = request.target;
    notify.property = property;
    // xcb_send_event always sends 32 bytes.
    char buffer[32] = {};
    std::memcpy(buffer, &notify, sizeof notify);
    xcb().sendEvent(c, 0, request.requestor, XCB_EVENT_MASK_NO_EVENT, buffer);
  }

  // The requestor deleted the property of a transfer: the next chunk, or the empty end.
  void continueTransfer(const xcb_property_notify_event_t& event) {
    if (event.state != XCB_PROPERTY_DELETE) return;
    const auto transfer = std::find_if(transfers_.begin(), transfers_.end(), [&](const auto& t) {
      return t.requestor == event.window && t.property == event.atom;
    });
    if (transfer == transfers_.end()) return;
    xcb_connection_t* c = state_.connection;
    if (transfer->finished) {
      xcb().changeProperty(c, XCB_PROP_MODE_REPLACE, transfer->requestor, transfer->property,
                           transfer->type, 8, 0, nullptr);
      transfers_.erase(transfer);
      return;
    }
    const std::string& bytes = contents_[transfer->content].bytes;
    const std::size_t length = std::min(kIncrChunkBytes, bytes.size() - transfer->offset);
    xcb().changeProperty(c, XCB_PROP_MODE_REPLACE, transfer->requestor, transfer->property,
                         transfer->type, 8, static_cast<std::uint32_t>(length),
                         bytes.data() + transfer->offset);
    transfer->offset += length;
    transfer->finished = transfer->offset == bytes.size();
  }

  X11State& state_;
  xcb_atom_t selection_;
  std::vector<SelectionContent> contents_;
  std::vector<xcb_atom_t> atoms_;  // the target of each content
  xcb_atom_t targets_ = XCB_NONE, timestamp_ = XCB_NONE, incr_ = XCB_NONE;
  xcb_timestamp_t time_ = XCB_CURRENT_TIME;
  std::vector<IncrTransfer> transfers_;
};

// The first byte of what the owner reports: it owns the selection (its process id follows), or it
// cannot (its problem follows).
constexpr char kOwned = '+';
constexpr char kNotOwned = '-';
// The descriptor on which the owner reports, the one it keeps beside the standard streams.
constexpr int kReportDescriptor = 3;

// Writes all of text to the descriptor, ignoring failures: the reader may be gone.
void writeAll(int descriptor, std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = ::write(descriptor, text.data(), text.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return;
    text.remove_prefix(static_cast<std::size_t>(written));
  }
}

// Everything readable from the descriptor until its writers close it.
std::string readAll(int descriptor) {
  std::string text;
  char buffer[256];
  while (true) {
    const ssize_t got = ::read(descriptor, buffer, sizeof buffer);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return text;
    text.append(buffer, static_cast<std::size_t>(got));
  }
}

// Leaves this process's standard streams on /dev/null, report on kReportDescriptor and no other
// descriptor open: a background owner must not keep the caller's terminal, pipes or bus
// connection alive.
void keepOnlyReport(int report) {
  const int kept = ::fcntl(report, F_DUPFD, kReportDescriptor + 1);
  const int null = ::open("/dev/null", O_RDWR);
  if (null >= 0) {
    ::dup2(null, 0);
    ::dup2(null, 1);
    ::dup2(null, 2);
    if (null > 2) ::close(null);
  }
  ::dup2(kept, kReportDescriptor);
  ::close_range(kReportDescriptor + 1, ~0U, 0);
}

// The process that owns the selection: runs own, reporting on kReportDescriptor. Never returns.
[[noreturn]] void runOwner(
    const std::function<std::string(const std::function<void()>& owned)>& own) {
  bool reported = false;
  const std::string problem = own([&] {
    writeAll(kReportDescriptor, kOwned + std::to_string(::getpid()));
    ::close(kReportDescriptor);
    reported = true;
  });
  if (!reported && !problem.empty()) writeAll(kReportDescriptor, kNotOwned + problem);
  ::_exit(problem.empty() ? 0 : 1);
}

}  // namespace

X11Connection::X11Connection(std::unique_ptr<detail::X11State> state) : state_(std::move(state)) {}
X11Connection::~X11Connection() = default;

std::unique_ptr<X11Connection> X11Connection::open(const std::string& display,
                                                   std::string& problem) {
  std::unique_ptr<X11State> state = connect(display, problem);
  if (!state) return nullptr;
  return std::unique_ptr<X11Connection>(new X11Connection(std::move(state)));
}

std::optional<std::string> X11Connection::readSelection(std::string_view selection,
                                                        std::string_view target) {
  xcb_connection_t* c = state_->connection;
  const xcb_window_t window = state_->window;
  const xcb_atom_t property = atomNamed(c, "TEXTRIX_SELECTION");
  const xcb_atom_t incr = atomNamed(c, "INCR");
  xcb().deleteProperty(c, window, property);
  xcb().convertSelection(c, window, atomNamed(c, selection), atomNamed(c, target), property,
                         XCB_CURRENT_TIME);
  xcb().flush(c);
  auto notify = waitForEvent(c, Clock::now() + kSelectionTimeout, [&](const auto& event) {
    return eventType(event) == XCB_SELECTION_NOTIFY &&
           reinterpret_cast<const xcb_selection_notify_event_t&>(event).requestor == window;
  });
  if (!notify ||
      reinterpret_cast<xcb_selection_notify_event_t*>(notify.get())->property == XCB_NONE) {
    return std::nullopt;
  }
  auto first = takeProperty(c, window, property);
  if (!first) return std::nullopt;
  xcb().flush(c);
  if (first->first != incr) return std::move(first->second);
  // INCR: the owner writes the content piece by piece, each after this side deleted the last one,
  // and ends with an empty piece.
  std::string bytes;
  while (true) {
    auto changed = waitForEvent(c, Clock::now() + kSelectionTimeout, [&](const auto& event) {
      const auto& e = reinterpret_cast<const xcb_property_notify_event_t&>(event);
      return eventType(event) == XCB_PROPERTY_NOTIFY && e.window == window && e.atom == property &&
             e.state == XCB_PROPERTY_NEW_VALUE;
    });
    if (!changed) return std::nullopt;
    auto piece = takeProperty(c, window, property);
    xcb().flush(c);
    if (!piece) return std::nullopt;
    if (piece->second.empty()) return bytes;
    bytes += piece->second;
  }
}

std::vector<std::string> X11Connection::selectionTargets(std::string_view selection) {
  std::optional<std::string> bytes = readSelection(selection, "TARGETS");
  if (!bytes) return {};
  std::vector<xcb_atom_t> atoms(bytes->size() / sizeof(xcb_atom_t));
  std::memcpy(atoms.data(), bytes->data(), atoms.size() * sizeof(xcb_atom_t));
  return atomNames(state_->connection, atoms);
}

std::string X11Connection::activeWindowClass() {
  xcb_connection_t* c = state_->connection;
  auto active = owned(xcb().getPropertyReply(
      c,
      xcb().getProperty(c, 0, state_->root, atomNamed(c, "_NET_ACTIVE_WINDOW"), XCB_ATOM_WINDOW, 0,
                        1),
      nullptr));
  if (!active || active->format != 32 || xcb().getPropertyValueLength(active.get()) < 4) {
    return {};
  }
  xcb_window_t window;
  std::memcpy(&window, xcb().getPropertyValue(active.get()), sizeof window);
  if (window == XCB_NONE) return {};
  auto wmClass = owned(xcb().getPropertyReply(
      c, xcb().getProperty(c, 0, window, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 0, 256), nullptr));
  if (!wmClass) return {};
  // WM_CLASS is "instance\0class\0".
  const std::string value(static_cast<const char*>(xcb().getPropertyValue(wmClass.get())),
                          static_cast<std::size_t>(xcb().getPropertyValueLength(wmClass.get())));
  const std::size_t end = value.find('\0');
  if (end == std::string::npos) return {};
  return std::string(value.c_str() + end + 1);
}

BackgroundOwner ownInBackground(
    const std::function<std::string(const std::function<void()>& owned)>& own) {
  int report[2];
  if (::pipe2(report, O_CLOEXEC) != 0) {
    const std::string reason = strerror(errno);
    return {-1, localizedFormat("cannot make a pipe: {0}", {reason})};
  }
  const pid_t child = ::fork();
  if (child < 0) {
    ::close(report[0]);
    ::close(report[1]);
    const std::string reason = strerror(errno);
    return {-1, localizedFormat("cannot start the selection owner: {0}", {reason})};
  }
  if (child == 0) {
    // The first child only starts the owner and ends, so that the caller has no zombie and the
    // owner no parent to wait for it.
    ::setsid();
    keepOnlyReport(report[1]);
    const pid_t owner = ::fork();
    if (owner == 0) runOwner(own);
    ::_exit(owner < 0 ? 1 : 0);
  }
  ::close(report[1]);
  while (::waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
  }
  const std::string reported = readAll(report[0]);
  ::close(report[0]);
  if (reported.starts_with(kOwned)) return {std::stoi(reported.substr(1)), {}};
  if (reported.starts_with(kNotOwned)) return {-1, reported.substr(1)};
  return {-1, localized("the selection owner ended before it owned the selection")};
}

std::string serveSelectionInBackground(const std::string& display, std::string_view selection,
                                       std::vector<SelectionContent> contents) {
  const auto own = [&](const std::function<void()>& owned) -> std::string {
    std::string problem;
    std::unique_ptr<X11State> state = connect(display, problem);
    if (!state) return problem;
    SelectionServer server(*state, atomNamed(state->connection, selection), std::move(contents));
    if (!server.own()) return localizedFormat("cannot own the X selection {0}", {selection});
    owned();
    server.serve();
    return {};
  };
  return ownInBackground(own).problem;
}

}  // namespace textrix
