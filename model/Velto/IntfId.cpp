#include "Velto/IntfId.h"

#include <array>
#include <atomic>
#include <bit>
#include <memory>
#include <mutex>
#include <string_view>
#include <unordered_map>

namespace Velto {

namespace {

/// All texts that identifiers were made from, by number. Texts are added under a lock and never
/// changed or removed, so that whoever holds a number reads its text without one.
class Names {
 public:
  struct Name {
    Kiv::String text;
    U32 parent = 0;
  };

  /// Made on first use and never destroyed: identifiers are used while static objects come and go.
  static Names& instance() {
    static auto* const names = new Names;
    return *names;
  }

  U32 numberOf(std::string_view text) {
    std::lock_guard const lock(mutex_);
    return add(text);
  }

  /// REQUIRES: `number` was given out.
  static Name const& name(U32 number) noexcept {
    Place const place(number);
    Name const* const block = blocks_[place.block].load(std::memory_order_acquire);
    if (block == nullptr) [[unlikely]]
      return nameOfNone();
    return block[place.offset];
  }

 private:
  /// Blocks double in size: block b holds the 2^b names from number 2^b - 1 on.
  struct Place {
    explicit Place(U32 number) noexcept
        : block(static_cast<U32>(std::bit_width(number + 1)) - 1),
          offset(number + 1 - (U32{1} << block)) {}
    U32 block;
    U32 offset;
  };

  /// The empty text has the number 0 and is its own parent, and that of every port.
  Names() { addChild("", 0); }
  /// The empty text's name, which may be asked for before any text has been met.
  [[gnu::noinline]] static Name const& nameOfNone() noexcept {
    return *instance().blocks_[0].load();
  }

  /// Numbers a text after all its parents, from the port down.
  U32 add(std::string_view text) {
    if (auto const known = numbers_.find(text); known != numbers_.end()) return known->second;
    U32 parent = 0;
    for (std::size_t dot = text.find('.'); dot != std::string_view::npos;
         dot = text.find('.', dot + 1)) {
      parent = addChild(text.substr(0, dot), parent);
    }
    return addChild(text, parent);
  }

  U32 addChild(std::string_view text, U32 parent) {
    if (auto const known = numbers_.find(text); known != numbers_.end()) return known->second;
    auto const number = static_cast<U32>(numbers_.size());
    Place const place(number);
    Name* block = blocks_[place.block].load(std::memory_order_relaxed);
    if (block == nullptr) {
      block = new Name[std::size_t{1} << place.block];
      blocks_[place.block].store(block, std::memory_order_release);
    }
    block[place.offset] = Name{Kiv::String(text), parent};
    numbers_.emplace(block[place.offset].text.view(), number);
    return number;
  }

  std::mutex mutex_;
  std::unordered_map<std::string_view, U32> numbers_;
  /// Apart from the rest, so that reading a name does not ask whether they are made.
  static std::array<std::atomic<Name*>, 32> blocks_;
};

constinit std::array<std::atomic<Names::Name*>, 32> Names::blocks_{};

}  // namespace

constinit Kiv::KivType const IntfId::_kivType{"Velto::IntfId", nullptr};

void IntfId::handleInitialized(Kiv::String const& text) {
  U32 const number = Names::instance().numberOf(text.view());
  *this = IntfId(number, Names::name(number).parent);
}

Kiv::String const& IntfId::stringValue() const noexcept { return Names::name(number_).text; }

void IntfId::prefetchStringValue() const noexcept {
  __builtin_prefetch(&Names::name(number_).text);
}

std::ostream& operator<<(std::ostream& stream, IntfId const& intfId) {
  return stream << intfId.stringValue();
}

U32 IntfId::lookUpParent() const noexcept { return Names::name(number_).parent; }

}  // namespace Velto
