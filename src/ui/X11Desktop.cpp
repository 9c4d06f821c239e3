#include "ui/X11Desktop.h"

#include <xcb/xcb.h>

#include <QGuiApplication>
#include <QWindow>
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace vorn::ui {
namespace {

constexpr std::size_t kWords = 12;
constexpr std::uint32_t kFarthest = 65535;  // coordinates of an X11 desktop have 16 bits

}  // namespace

// Widths at the left, right, top and bottom edge, then the first and the last pixel of each along its edge,
// in the same order.
std::vector<ReservedArea> strutAreas(const std::vector<std::uint32_t>& words, const QSize& desktop) {
  if (words.size() < kWords || desktop.isEmpty()) return {};
  std::array<int, kWords> v{};
  for (std::size_t i = 0; i < kWords; ++i) v[i] = static_cast<int>(std::min(words[i], kFarthest));
  const int right = desktop.width() - 1;
  const int bottom = desktop.height() - 1;
  const std::array<ReservedArea, 4> edges{
      ReservedArea{Qt::LeftEdge, QRect(QPoint(0, v[4]), QPoint(v[0] - 1, v[5]))},
      ReservedArea{Qt::RightEdge, QRect(QPoint(right - v[1] + 1, v[6]), QPoint(right, v[7]))},
      ReservedArea{Qt::TopEdge, QRect(QPoint(v[8], 0), QPoint(v[9], v[2] - 1))},
      ReservedArea{Qt::BottomEdge, QRect(QPoint(v[10], bottom - v[3] + 1), QPoint(v[11], bottom))},
  };
  std::vector<ReservedArea> areas;
  for (const auto& [edge, rectangle] : edges) {
    // Only valid rectangles may be intersected, because the toolkit turns the others round.
    const QRect area = rectangle.isValid() ? rectangle.intersected(QRect(QPoint(0, 0), desktop)) : QRect();
    if (!area.isEmpty()) areas.push_back({edge, area});
  }
  return areas;
}

namespace {

struct FreeReply {
  void operator()(void* reply) const { std::free(reply); }
};
template <typename T>
using Reply = std::unique_ptr<T, FreeReply>;

constexpr std::uint32_t kMostPropertyWords = 16384;

xcb_connection_t* connection() {
  const auto* application = qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
  return application ? application->connection() : nullptr;
}

xcb_screen_t* firstScreen(xcb_connection_t* display) {
  return xcb_setup_roots_iterator(xcb_get_setup(display)).data;
}

xcb_atom_t atom(xcb_connection_t* display, const char* name) {
  const auto cookie = xcb_intern_atom(display, 0, static_cast<std::uint16_t>(std::strlen(name)), name);
  const Reply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(display, cookie, nullptr));
  return reply ? reply->atom : static_cast<xcb_atom_t>(XCB_ATOM_NONE);
}

using Windows = std::vector<xcb_window_t>;

// A requested property of 32-bit words; empty if it is missing or of another type.
std::vector<std::uint32_t> words(xcb_connection_t* display, xcb_get_property_cookie_t cookie) {
  const Reply<xcb_get_property_reply_t> reply(xcb_get_property_reply(display, cookie, nullptr));
  if (!reply || reply->format != 32) return {};
  const auto* first = static_cast<const std::uint32_t*>(xcb_get_property_value(reply.get()));
  return {first, first + xcb_get_property_value_length(reply.get()) / 4};
}

// The windows that a window manager lists.
Windows listedWindows(xcb_connection_t* display, xcb_window_t root) {
  return words(display, xcb_get_property(display, 0, root, atom(display, "_NET_CLIENT_LIST"), XCB_ATOM_WINDOW,
                                         0, kMostPropertyWords));
}

// All requests of one kind go out before the first answer is read, because each wait for an answer takes
// time.
Windows childrenOf(const Windows& parents, xcb_connection_t* display) {
  std::vector<xcb_query_tree_cookie_t> cookies;
  for (const xcb_window_t parent : parents) cookies.push_back(xcb_query_tree(display, parent));
  Windows children;
  for (const auto cookie : cookies) {
    const Reply<xcb_query_tree_reply_t> tree(xcb_query_tree_reply(display, cookie, nullptr));
    if (!tree) continue;
    const xcb_window_t* first = xcb_query_tree_children(tree.get());
    children.insert(children.end(), first, first + xcb_query_tree_children_length(tree.get()));
  }
  return children;
}

Windows visibleOf(const Windows& all, xcb_connection_t* display) {
  std::vector<xcb_get_window_attributes_cookie_t> cookies;
  for (const xcb_window_t window : all) cookies.push_back(xcb_get_window_attributes(display, window));
  Windows visible;
  for (std::size_t i = 0; i < all.size(); ++i) {
    const Reply<xcb_get_window_attributes_reply_t> reply(
        xcb_get_window_attributes_reply(display, cookies[i], nullptr));
    if (reply && reply->map_state == XCB_MAP_STATE_VIEWABLE) visible.push_back(all[i]);
  }
  return visible;
}

std::vector<ReservedArea> areasOf(const Windows& windows, xcb_connection_t* display, const QSize& desktop) {
  const xcb_atom_t strut = atom(display, "_NET_WM_STRUT_PARTIAL");
  std::vector<xcb_get_property_cookie_t> cookies;
  for (const xcb_window_t window : windows) {
    cookies.push_back(xcb_get_property(display, 0, window, strut, XCB_ATOM_CARDINAL, 0, kWords));
  }
  std::vector<ReservedArea> areas;
  for (const auto cookie : cookies) {
    const auto its = strutAreas(words(display, cookie), desktop);
    areas.insert(areas.end(), its.begin(), its.end());
  }
  return areas;
}

}  // namespace

bool X11Desktop::isPresent() {
  return connection() != nullptr;
}

void X11Desktop::askToSkipTaskbar(QWindow* window) {
  xcb_connection_t* display = connection();
  if (!display) return;
  constexpr std::uint32_t kAdd = 1;
  constexpr std::uint32_t kFromApplication = 1;
  xcb_client_message_event_t message{};
  message.response_type = XCB_CLIENT_MESSAGE;
  message.format = 32;
  message.window = static_cast<xcb_window_t>(window->winId());
  message.type = atom(display, "_NET_WM_STATE");
  message.data.data32[0] = kAdd;
  message.data.data32[1] = atom(display, "_NET_WM_STATE_SKIP_TASKBAR");
  message.data.data32[2] = atom(display, "_NET_WM_STATE_SKIP_PAGER");
  message.data.data32[3] = kFromApplication;
  std::array<char, 32> event{};
  static_assert(sizeof(message) == sizeof(event));
  std::memcpy(event.data(), &message, sizeof(message));
  xcb_send_event(display, 0, firstScreen(display)->root,
                 XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT, event.data());
  xcb_flush(display);
}

std::vector<ReservedArea> X11Desktop::reservedAreas() {
  xcb_connection_t* display = connection();
  if (!display) return {};
  const xcb_screen_t* screen = firstScreen(display);
  const auto cookie = xcb_get_geometry(display, screen->root);
  const Reply<xcb_get_geometry_reply_t> root(xcb_get_geometry_reply(display, cookie, nullptr));
  if (!root) return {};
  const QSize desktop(root->width, root->height);
  auto areas = areasOf(listedWindows(display, screen->root), display, desktop);
  if (!areas.empty()) return areas;
  // Without a window manager nobody lists the bars. i3 lists none either, and puts each into a frame.
  const Windows outer = visibleOf(childrenOf({screen->root}, display), display);
  areas = areasOf(outer, display, desktop);
  return areas.empty() ? areasOf(visibleOf(childrenOf(outer, display), display), display, desktop) : areas;
}

bool X11Desktop::olderTrayIsPresent() {
  xcb_connection_t* display = connection();
  if (!display) return false;
  const auto cookie = xcb_get_selection_owner(display, atom(display, "_NET_SYSTEM_TRAY_S0"));
  const Reply<xcb_get_selection_owner_reply_t> reply(xcb_get_selection_owner_reply(display, cookie, nullptr));
  return reply && reply->owner != XCB_WINDOW_NONE;
}

}  // namespace vorn::ui
