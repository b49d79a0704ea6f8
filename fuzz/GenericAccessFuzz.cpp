#include <fuzzer/FuzzedDataProvider.h>

#include <array>
#include <deque>
#include <exception>
#include <list>
#include <new>
#include <string_view>
#include <utility>
#include <vector>

#include "Bridging/VlanIdOrNone.h"
#include "Kiv/AllocTrackTypeInfo.h"
#include "Kiv/GenericIf.h"
#include "Kiv/KivAttr.h"
#include "MacsecProxy/MacsecProxySm.h"
#include "Pesk/Driver.h"

// Generic access with any attribute, operation and key, and arguments of the right shapes, between
// changes of the configuration: nothing may crash, leak or read what is gone.

namespace {

using Kiv::GenericIf;
using Kiv::PtrInterface;
using Op = GenericIf::AttributeOp;
using Velto::IntfId;

class World {
 public:
  explicit World(FuzzedDataProvider& data) : data_(data) {
    for (IntfId const port : ports_) {
      if (data_.ConsumeBool()) eth_->intfStatusIs(port, port.stringValue());
    }
    coordinator_ = MacsecProxy::macsecProxySmFactory(config_, status_, encap_, eth_, device_);
  }

  void step() {
    try {
      switch (data_.ConsumeIntegralInRange(0, 5)) {
        case 0:
          config_->proxyConfigIs(pick(), pick(), data_.ConsumeBool() ? pick() : IntfId());
          break;
        case 1:
          config_->proxyConfigDel(pick());
          break;
        case 2:
          device_->intfStatusAndDeviceNameIs(pick(), {pick().stringValue()});
          break;
        case 3:
          walk();
          break;
        default:
          operate();
      }
    } catch (std::exception const&) {
      // Whatever is refused is refused in words.
    }
  }

 private:
  /// A walk, which holds what it walks over.
  struct Walk {
    Kiv::Ptr<PtrInterface> object;
    Kiv::KivAttr const* attr;
    GenericIf::Iterator::IteratorVTable const* operations;
    GenericIf::Iterator* iterator;
    Walk(Kiv::Ptr<PtrInterface> o, Kiv::KivAttr const* a,
         GenericIf::Iterator::IteratorVTable const* v, GenericIf::Iterator* i)
        : object(std::move(o)), attr(a), operations(v), iterator(i) {}
    Walk(Walk const&) = delete;
    Walk& operator=(Walk const&) = delete;
    ~Walk() { operations->iterDel(attr, iterator); }
  };

  IntfId pick() { return data_.PickValueInArray(ports_); }

  Kiv::Ptr<PtrInterface> object() {
    if (auto machine = coordinator_->macsecProxyIntfSm(pick()); machine && data_.ConsumeBool()) {
      return machine;
    }
    return coordinator_;
  }

  /// An attribute by an index that may be none, and the real one for the shapes of its arguments.
  void operate() {
    Kiv::Ptr<PtrInterface> const target = object();
    Kiv::KivAttr asked;
    asked.index = data_.ConsumeIntegralInRange<U32>(128, 152);
    auto const op = static_cast<Op>(data_.ConsumeIntegralInRange<U32>(0, 10));
    Kiv::KivAttr const* const attr = target->fwkType()->attribute(asked.index);
    IntfId key = pick();
    std::array<void*, Kiv::KivAttr::maxArguments> arguments{};
    void* args = arguments.data();
    if (attr != nullptr && attr->kind == Kiv::KivAttr::Kind::collection) {
      args = valueOf(*attr->valueType);
    } else if (attr != nullptr) {
      for (std::size_t i = 0; i < attr->arguments().size(); ++i) {
        arguments[i] = valueOf(*attr->arguments()[i].type);
      }
    }
    U64 result = 0;
    int const code = target->fwkType()->access().genericIfAttributeOp(&result, target.ptr(), &asked,
                                                                      op, &key, args);
    if (attr == nullptr ? code != GenericIf::noSuchAttribute
                        : code != (attr->allows(op) ? GenericIf::done : GenericIf::notValid)) {
      __builtin_trap();
    }
    bool const isObject =
        code == GenericIf::done && attr->valueType->base() != nullptr && op <= Op::remove;
    if (isObject) Kiv::Ptr<PtrInterface const>::adopt(reinterpret_cast<PtrInterface*>(result));
    values_.clear();
  }

  /// A value of a type, or one of its objects.
  void* valueOf(Kiv::KivType const& type) {
    std::string_view const name = type.name();
    if (name == "Velto::IntfId") return keep(pick());
    if (name == "bool") return keep(data_.ConsumeBool());
    if (name == "U32") return keep(data_.ConsumeIntegralInRange<U32>(0, 70'000));
    if (name == "U64") return keep(data_.ConsumeIntegral<U64>());
    if (name == "Pesk::HBitmap::BitState") {
      return keep(static_cast<Pesk::HBitmap::BitState>(data_.ConsumeIntegralInRange<U32>(0, 1)));
    }
    if (name == "Bridging::VlanIdOrNone") {
      return keep(Bridging::VlanIdOrNone(data_.ConsumeIntegralInRange<U32>(0, 4095)));
    }
    if (data_.ConsumeIntegralInRange(0, 7) == 0) return nullptr;
    if (name == "MacsecProxy::Config") return config_.ptr();
    if (name == "MacsecProxy::Status") return status_.ptr();
    if (name == "Interface::SubIntfDynDot1qEncap") return encap_.ptr();
    if (name == "Interface::EthIntfStatusDir") return eth_.ptr();
    if (name == "Interface::DeviceIntfStatusDir") return device_.ptr();
    return coordinator_->ioctlDrvFab().ptr();
  }
  template <class Value>
  void* keep(Value value) {
    static_assert(sizeof(Value) <= sizeof(U64));
    return new (&values_.emplace_back()) Value(value);
  }

  /// Begins, continues or ends a walk.
  void walk() {
    if (walks_.size() < 4 && data_.ConsumeBool()) {
      Kiv::Ptr<PtrInterface> const target = object();
      Kiv::KivAttr asked;
      asked.index = data_.ConsumeIntegralInRange<U32>(128, 152);
      GenericIf::Iterator::IteratorVTable const* operations = nullptr;
      GenericIf::Iterator* const iterator =
          target->fwkType()->access().genericIfIterator(target.ptr(), &asked, &operations);
      if (iterator == nullptr) return;
      walks_.emplace_back(target, target->fwkType()->attribute(asked.index), operations, iterator);
    }
    if (walks_.empty()) return;
    auto const at =
        std::next(walks_.begin(), data_.ConsumeIntegralInRange<std::ptrdiff_t>(
                                      0, static_cast<std::ptrdiff_t>(walks_.size()) - 1));
    Kiv::KivAttr const* const attr = at->attr;
    auto const* const operations = at->operations;
    GenericIf::Iterator* const iterator = at->iterator;
    if (!operations->iterNonnull(attr, iterator)) {
      walks_.erase(at);
      return;
    }
    IntfId key;
    operations->iterKey(attr, iterator, &key);
    U64 value = 0;
    operations->iterObj(attr, iterator, &value);
    if (attr->valueType->base() != nullptr) {
      Kiv::Ptr<PtrInterface const>::adopt(reinterpret_cast<PtrInterface*>(value));
    }
    operations->iterInc(attr, iterator);
  }

  FuzzedDataProvider& data_;
  std::array<IntfId, 8> const ports_{IntfId("et1"),   IntfId("et2"),   IntfId("et1.1"),
                                     IntfId("et1.2"), IntfId("et2.1"), IntfId("et2.1.1"),
                                     IntfId("et7"),   IntfId("")};
  Kiv::Ptr<MacsecProxy::Config> config_ = MacsecProxy::Config::ConfigIs();
  Kiv::Ptr<MacsecProxy::Status> status_ = MacsecProxy::Status::StatusIs();
  Kiv::Ptr<Interface::SubIntfDynDot1qEncap> encap_ =
      Interface::SubIntfDynDot1qEncap::SubIntfDynDot1qEncapIs();
  Kiv::Ptr<Interface::EthIntfStatusDir> eth_ = Interface::EthIntfStatusDir::EthIntfStatusDirIs();
  Kiv::Ptr<Interface::DeviceIntfStatusDir> device_ =
      Interface::DeviceIntfStatusDir::DeviceIntfStatusDirIs();
  Kiv::Ptr<MacsecProxy::MacsecProxySm> coordinator_;
  std::deque<U64> values_;
  std::list<Walk> walks_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* bytes, std::size_t size) {
  FuzzedDataProvider data(bytes, size);
  {
    World world(data);
    while (data.remaining_bytes() > 0) world.step();
  }
  for (auto const* record = Kiv::AllocTrackTypeInfo::first(); record; record = record->next()) {
    if (record->live() != 0) __builtin_trap();
  }
  Pesk::Driver::instance().reset();
  return 0;
}
