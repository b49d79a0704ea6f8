#include "Kiv/TypeRegistry.h"

#include <algorithm>
#include <mutex>

namespace Kiv {

namespace {

struct Registry {
  std::mutex mutex;
  std::vector<KivType const*> types;

  /// Made on first use and never destroyed: libraries register while static objects come and go.
  static Registry& instance() {
    static auto* const registry = new Registry;
    return *registry;
  }

  KivType const* find(std::string_view name) const {
    auto const found = std::ranges::find(
        types, name, [](KivType const* type) { return std::string_view(type->name()); });
    return found != types.end() ? *found : nullptr;
  }
};

}  // namespace

void typeNodeIs(KivType const* type) {
  Registry& registry = Registry::instance();
  std::lock_guard const lock(registry.mutex);
  if (registry.find(type->name()) == nullptr) registry.types.push_back(type);
}

KivType const* typeNode(std::string_view name) {
  Registry& registry = Registry::instance();
  std::lock_guard const lock(registry.mutex);
  return registry.find(name);
}

std::vector<KivType const*> typeNodes() {
  Registry& registry = Registry::instance();
  std::lock_guard const lock(registry.mutex);
  return registry.types;
}

}  // namespace Kiv
