// A pointer for tests on Wayland: VirtualPointer WIDTH HEIGHT reads lines from its input, "move X Y" in a
// screen of that size and "click BUTTON" (1 left, 3 right). It answers each with "done" when the compositor
// has it. The pointer stays until the input ends.

#include <linux/input-event-codes.h>
#include <wayland-client.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <memory>
#include <sstream>
#include <string>
#include <string_view>

#include "virtual-pointer-client-protocol.h"

namespace {

struct Disconnect {
  void operator()(wl_display* display) const { wl_display_disconnect(display); }
};
using Display = std::unique_ptr<wl_display, Disconnect>;

std::uint32_t Now() {
  using namespace std::chrono;
  const auto passed = steady_clock::now().time_since_epoch();
  return static_cast<std::uint32_t>(duration_cast<milliseconds>(passed).count());
}

/// Finds the manager of virtual pointers among the compositor's objects.
class Registry {
 public:
  explicit Registry(wl_display* display) : fRegistry(wl_display_get_registry(display)) {
    static constexpr wl_registry_listener kListener{&Registry::Offered, &Registry::Withdrawn};
    wl_registry_add_listener(fRegistry, &kListener, this);
    wl_display_roundtrip(display);
  }
  ~Registry() { wl_registry_destroy(fRegistry); }
  Registry(const Registry&) = delete;
  Registry& operator=(const Registry&) = delete;

  zwlr_virtual_pointer_manager_v1* manager() const { return fManager; }

 private:
  static void Offered(void* self, wl_registry* registry, std::uint32_t name, const char* interface,
                      std::uint32_t) {
    if (std::strcmp(interface, zwlr_virtual_pointer_manager_v1_interface.name) != 0) return;
    static_cast<Registry*>(self)->fManager = static_cast<zwlr_virtual_pointer_manager_v1*>(
        wl_registry_bind(registry, name, &zwlr_virtual_pointer_manager_v1_interface, 1));
  }
  static void Withdrawn(void*, wl_registry*, std::uint32_t) {}

  wl_registry* fRegistry;
  zwlr_virtual_pointer_manager_v1* fManager = nullptr;
};

class Pointer {
 public:
  Pointer(zwlr_virtual_pointer_manager_v1* manager, std::uint32_t width, std::uint32_t height)
      : fPointer(zwlr_virtual_pointer_manager_v1_create_virtual_pointer(manager, nullptr)),
        fWidth(width),
        fHeight(height) {}
  ~Pointer() { zwlr_virtual_pointer_v1_destroy(fPointer); }
  Pointer(const Pointer&) = delete;
  Pointer& operator=(const Pointer&) = delete;

  void move(std::uint32_t x, std::uint32_t y) {
    zwlr_virtual_pointer_v1_motion_absolute(fPointer, Now(), x, y, fWidth, fHeight);
    zwlr_virtual_pointer_v1_frame(fPointer);
  }
  void click(int button) {
    const std::uint32_t code = button == 3 ? BTN_RIGHT : BTN_LEFT;
    for (const std::uint32_t state : {WL_POINTER_BUTTON_STATE_PRESSED, WL_POINTER_BUTTON_STATE_RELEASED}) {
      zwlr_virtual_pointer_v1_button(fPointer, Now(), code, state);
      zwlr_virtual_pointer_v1_frame(fPointer);
    }
  }

 private:
  zwlr_virtual_pointer_v1* fPointer;
  std::uint32_t fWidth;
  std::uint32_t fHeight;
};

bool Obey(Pointer& pointer, const std::string& line) {
  std::istringstream words(line);
  std::string what;
  words >> what;
  std::uint32_t x = 0;
  std::uint32_t y = 0;
  if (what == "move" && words >> x >> y) {
    pointer.move(x, y);
    return true;
  }
  if (what == "click" && words >> x) {
    pointer.click(static_cast<int>(x));
    return true;
  }
  return false;
}

int Run(std::uint32_t width, std::uint32_t height) {
  const Display display(wl_display_connect(nullptr));
  if (!display) {
    std::fputs("there is no compositor to connect to\n", stderr);
    return 1;
  }
  const Registry registry(display.get());
  if (!registry.manager()) {
    std::fputs("the compositor knows no virtual pointers\n", stderr);
    return 1;
  }
  Pointer pointer(registry.manager(), width, height);
  for (std::string line; std::getline(std::cin, line);) {
    const bool known = Obey(pointer, line);
    if (wl_display_roundtrip(display.get()) < 0) return 1;
    std::cout << (known ? "done" : "unknown") << std::endl;
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fputs("usage: virtual-pointer WIDTH HEIGHT\n", stderr);
    return 2;
  }
  return Run(static_cast<std::uint32_t>(std::atoi(argv[1])), static_cast<std::uint32_t>(std::atoi(argv[2])));
}
