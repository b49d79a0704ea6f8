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

/// Values by number, in blocks that double in size and never move: block b holds those of the 2^b
/// numbers from 2^b - 1 on. They are read without a lock, by whoever got the number after the value
/// was written.
template <class T>
class Blocks {
 public:
  /// Null before a value of the same block was made.
  T const* find(U32 number) const noexcept {
    Place const place(number);
    T const* const block = blocks_[place.block].load(std::memory_order_acquire);
    return block != nullptr ? block + place.offset : nullptr;
  }
  /// The value, `T{}` at first. Raises `std::bad_alloc`. One thread at a time.
  T& make(U32 number) {
    Place const place(number);
    T* block = blocks_[place.block].load(std::memory_order_relaxed);
    if (block == nullptr) {
      block = new T[std::size_t{1} << place.block]();
      blocks_[place.block].store(block, std::memory_order_release);
    }
    return block[place.offset];
  }

 private:
  struct Place {
    explicit Place(U32 number) noexcept
        : block(static_cast<U32>(std::bit_width(number + 1)) - 1),
          offset(number + 1 - (U32{1} << block)) {}
    U32 block;
    U32 offset;
  };

  std::array<std::atomic<T*>, 32> blocks_{};
};

/// All texts that identifiers were made from, by number, and their parents. Texts are added under a
/// lock and never changed or removed, so that whoever holds a number reads its text without one.
class Names {
 public:
  /// Made on first use and never destroyed: identifiers are used while static objects come and go.
  static Names& instance() {
    static auto* const names = new Names;
    return *names;
  }

  U32 numberOf(std::string_view text) {
    std::lock_guard const lock(mutex_);
    return add(text);
  }

  /// REQUIRES: `number` was given out, or is 0.
  static Kiv::String const& text(U32 number) noexcept {
    Text const* const found = texts_.find(number);
    return found != nullptr ? found->text : textOfNone();
  }
  /// REQUIRES: `number` was given out, or is 0.
  static U32 parent(U32 number) noexcept {
    U32 const* const found = parents_.find(number);
    return found != nullptr ? *found : 0;
  }

 private:
  /// Short texts are in one cache line with what tells where they are.
  struct alignas(32) Text {
    Kiv::String text;
  };

  /// The empty text has the number 0 and is its own parent, and that of every port.
  /// Nothing is written for it, since anybody may be reading already.
  Names() {
    parents_.make(0);
    numbers_.emplace(texts_.make(0).text.view(), 0);
  }
  /// The empty text, which may be asked for before any text has been met.
  [[gnu::noinline]] static Kiv::String const& textOfNone() noexcept {
    instance();
    return texts_.find(0)->text;
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
    parents_.make(number) = parent;
    Kiv::String& kept = texts_.make(number).text;
    kept = Kiv::String(text);
    numbers_.emplace(kept.view(), number);
    return number;
  }

  std::mutex mutex_;
  std::unordered_map<std::string_view, U32> numbers_;
  /// Apart from the rest, so that reading them does not ask whether they are made.
  static Blocks<Text> texts_;
  static Blocks<U32> parents_;
};

constinit Blocks<Names::Text> Names::texts_;
constinit Blocks<U32> Names::parents_;

}  // namespace

constinit Kiv::KivType const IntfId::_kivType{"Velto::IntfId", nullptr};

void IntfId::handleInitialized(Kiv::String const& text) {
  U32 const number = Names::instance().numberOf(text.view());
  *this = IntfId(number, Names::parent(number));
}

Kiv::String const& IntfId::stringValue() const noexcept { return Names::text(number_); }

void IntfId::prefetchStringValue() const noexcept { __builtin_prefetch(&stringValue()); }

std::ostream& operator<<(std::ostream& stream, IntfId const& intfId) {
  return stream << intfId.stringValue();
}

U32 IntfId::lookUpParent() const noexcept { return Names::parent(number_); }

}  // namespace Velto
