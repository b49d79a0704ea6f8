#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "Bench.h"
#include "Kiv/Entity.h"
#include "Kiv/HashMap.h"
#include "Kiv/WatchedMap.h"
#include "Work.h"

// The static checks find fault with the header.
#if __has_include(<boost/signals2/signal_type.hpp>) && !defined(__clang_analyzer__)
#include <boost/signals2/dummy_mutex.hpp>
#include <boost/signals2/signal_type.hpp>
#define HAS_BOOST
#endif

namespace Bench {

namespace {

/// What a reactor acts for; each has its own.
struct Listener {
  U64 heard = 0;
  void handle(U32 key) noexcept { heard += key; }
};
using Listeners = std::vector<std::unique_ptr<Listener>>;

/// Reactors are of two classes, as those of a coordinator and its machines are: with one class the
/// compiler would see through the peers' virtual calls.
template <int kind>
using Kind = std::integral_constant<int, kind>;

/// Calls `make` with the kind that a listener's reactor is to be of, and the listener.
template <class Make>
void forEach(Listeners const& listeners, Make make) {
  make(Kind<0>(), *listeners.front());
  for (std::size_t at = 1; at < listeners.size(); ++at) make(Kind<1>(), *listeners[at]);
}

/// Flags by key. All subjects keep them, and tell each listener of a key that has changed.
class Source : public Kiv::Entity {
 public:
  class NotifieeConst : public Kiv::Entity::NotifieeConst {
   public:
    virtual void onFlag(U32 /*key*/) {}
  };
  void flagIs(U32 key, bool flag) { flags_.valueIs(key, flag); }

 private:
  Kiv::WatchedMap<U32, bool, NotifieeConst, &NotifieeConst::onFlag> flags_{*this};
};

/// Reactors beside each other are told in one loop, as those of machines are for device names, or
/// each by itself, as those of a coordinator and of a machine are for the configuration.
template <bool areInRow>
class Ours {
 public:
  explicit Ours(Listeners const& listeners) {
    forEach(listeners, [this]<int kind>(Kind<kind>, Listener& listener) {
      reactors_.emplace_back(
          Kiv::makeNew<Reactor<kind>>(Kiv::Ptr<Source const>(source_), listener));
      reactors_.back()->hasNotificationActiveIs(true);
    });
  }
  void flagIs(U32 key, bool flag) { source_->flagIs(key, flag); }
  void tell(U32 key) {
    Kiv::NotifieeList& list = *source_->notifieeList();
    list.deliver<&Source::NotifieeConst::onFlag>(Kiv::Delivery::ofThisThread(), key,
                                                 list.changeIs());
  }

 private:
  /// Forwards as the reactors of the machines do.
  template <int kind>
  class Reactor final : public Source::NotifieeConst {
   public:
    Reactor(Kiv::Ptr<Source const> const& source, Listener& owner) : owner_(&owner) {
      if constexpr (areInRow) {
        using Told = Source::NotifieeConst;
        this->template toldInRowIs<Reactor, Told, U32, &Told::onFlag>(
            [](Reactor& reactor, U32 key) { reactor.onFlag(key); });
      }
      notifierIs(source);
      isRegisteredNotifieeIs(true);
    }
    void onFlag(U32 key) override {
      auto* const owner = kivMarkedForDeletion() ? nullptr : owner_;
      if (owner != nullptr) owner->handle(key + kind);
    }

    KIV_ALLOC_TRACKED

   private:
    Listener* owner_;
  };

  Kiv::Ptr<Source> source_ = Kiv::makeNew<Source>();
  std::vector<Kiv::Ptr<Source::NotifieeConst>> reactors_;
};

template <bool areInRow>
template <int kind>
constinit Kiv::AllocTrackTypeInfo Ours<areInRow>::Reactor<kind>::kivAllocTrackTypeInfo_{
    "Bench::Reactor"};

/// A peer keeps the flags in the same collection; how it tells is `Teller`'s.
template <class Teller>
class Peer {
 public:
  explicit Peer(Listeners const& listeners) : teller_(listeners) {}
  void flagIs(U32 key, bool flag) {
    auto const [present, isNew] = flags_.findOrInsert(key);
    if (!isNew && present == flag) return;
    present = flag;
    teller_.tell(key);
  }
  void tell(U32 key) { teller_.tell(key); }

 private:
  Kiv::HashMap<U32, bool> flags_;
  Teller teller_;
};

class Pointers {
 public:
  explicit Pointers(Listeners const& listeners) {
    forEach(listeners, [this]<int kind>(Kind<kind>, Listener& listener) {
      reactors_.push_back(std::make_unique<Forwarding<kind>>(listener));
    });
  }
  void tell(U32 key) {
    for (auto const& reactor : reactors_) reactor->onFlag(key);
  }

 private:
  struct Interface {
    virtual ~Interface() = default;
    virtual void onFlag(U32 key) = 0;
  };
  template <int kind>
  struct Forwarding final : Interface {
    explicit Forwarding(Listener& of) : listener(of) {}
    void onFlag(U32 key) override { listener.handle(key + kind); }
    Listener& listener;
  };
  std::vector<std::unique_ptr<Interface>> reactors_;
};
using Vector = Peer<Pointers>;

/// A subject that tells that many reactors.
template <class Subject>
struct Telling {
  explicit Telling(U32 reactors) : listeners(reactors) {
    for (auto& listener : listeners) listener = std::make_unique<Listener>();
    subject.emplace(listeners);
  }

  Listeners listeners;
  std::optional<Subject> subject;
  bool flag = false;
};

#ifdef HAS_BOOST
/// Tracked, it holds an object of the listener's while it tells it, as ours does.
template <bool isTracked>
class Signal {
 public:
  explicit Signal(Listeners const& listeners) {
    forEach(listeners, [this]<int kind>(Kind<kind>, Listener& listener) {
      typename Type::slot_type slot([&listener](U32 key) { listener.handle(key + kind); });
      if constexpr (isTracked) slot.track_foreign(held_.emplace_back(std::make_shared<Held>()));
      signal_.connect(slot);
    });
  }
  void tell(U32 key) { signal_(key); }

 private:
  struct Held {};
  using Type = typename boost::signals2::signal_type<
      void(U32), boost::signals2::keywords::mutex_type<boost::signals2::dummy_mutex>>::type;

  Type signal_;
  std::vector<std::shared_ptr<Held>> held_;
};
using Signals = Telling<Peer<Signal<false>>>;
using TrackedSignals = Telling<Peer<Signal<true>>>;
#else
using Signals = void;
using TrackedSignals = void;
#endif

template <class Once>
void registerSizes(std::string const& name, Once once) {
  for (U32 const reactors : {8U, 64U, 512U}) {
    Registration({.name = name + std::to_string(reactors) + " reactors"},
                 contender<Telling<Ours<true>>>("delivery", once, reactors))
        .beside({}, {contender<Telling<Ours<false>>>("each by itself", once, reactors)})
        .beside({1.6, 2.5}, {contender<Telling<Vector>>("vector of pointers", once, reactors)})
        .beside({0.10, 0.15},
                {contender<Signals>("boost::signals2", once, reactors),
                 contender<TrackedSignals>("boost::signals2, tracked", once, reactors)});
  }
}

}  // namespace

void registerDeliveryBenchmarks() {
  registerSizes("a key changed and delivered to ", [](auto& telling) {
    telling.subject->flagIs(7, telling.flag = !telling.flag);
    benchmark::ClobberMemory();
  });
  registerSizes("the walk alone over ", [](auto& telling) {
    telling.subject->tell(7);
    benchmark::ClobberMemory();
  });
}

}  // namespace Bench
