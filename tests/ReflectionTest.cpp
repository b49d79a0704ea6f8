#include <array>

#include "Kiv/KivAttr.h"
#include "World.h"

namespace {

using Kiv::GenericIf;
using Op = GenericIf::AttributeOp;

/// A world with et1.1 (client et7), et1.2 and et2.1 in service, seen through generic access alone.
class GenericAccess : public testing::Test {
 protected:
  GenericAccess() {
    world.play("+et1.1=et3.1/et7 +et1.2=et3.2/ +et2.1=et3.3/et8");
    world.start();
    world.commands();
    world.trace();
  }

  MacsecProxySm* coordinator() { return world.coordinator.ptr(); }
  MacsecProxyIntfSm* machine() { return world.coordinator->macsecProxyIntfSm("et1"_intf).ptr(); }

  static Kiv::KivAttr const& attr(Kiv::PtrInterface const* object, std::string_view name) {
    for (auto const& line : object->fwkType()->access().attributes) {
      if (line.name == name) return line;
    }
    throw std::invalid_argument(std::string(name));
  }

  static int op(void* result, Kiv::PtrInterface* object, Kiv::KivAttr const& line, Op code,
                void* key = nullptr, void* args = nullptr) {
    return object->fwkType()->access().genericIfAttributeOp(result, object, &line, code, key, args);
  }

  /// A valid operation whose result is a value.
  template <class Value>
  static Value valueOf(Kiv::PtrInterface* object, std::string_view name, Op code, IntfId key = {},
                       void* args = nullptr) {
    Value value{};
    EXPECT_EQ(op(&value, object, attr(object, name), code, &key, args), GenericIf::done) << name;
    return value;
  }
  /// A valid operation whose result is an object; the one reference is taken over.
  static Kiv::Ptr<Kiv::PtrInterface const> objectOf(Kiv::PtrInterface* object,
                                                    std::string_view name, Op code, IntfId key = {},
                                                    void* args = nullptr) {
    return Kiv::Ptr<Kiv::PtrInterface const>::adopt(
        valueOf<Kiv::PtrInterface const*>(object, name, code, key, args));
  }
  World world{Kiv::Delivery::Order::registration};
};

TEST_F(GenericAccess, RefusesEveryOtherIndexAndCodeAndTouchesNothing) {
  std::string const before = world.tables();
  for (Kiv::PtrInterface* const object : {static_cast<Kiv::PtrInterface*>(coordinator()),
                                          static_cast<Kiv::PtrInterface*>(machine())}) {
    auto const& access = object->fwkType()->access();
    U32 refused = 0;
    for (U32 index = 129; index <= access.attributes.back().index + 1; ++index) {
      Kiv::KivAttr wanted;
      wanted.index = index;
      Kiv::KivAttr const* const line = object->fwkType()->attribute(index);
      std::string_view valid;
      if (line != nullptr) {
        using Kind = Kiv::KivAttr::Kind;
        valid = line->kind == Kind::function                 ? "8"
                : line->kind == Kind::instantiatingReference ? "012"
                : line->keyType != nullptr                   ? "012345"
                                                             : "0";
      }
      for (U32 code = 0; code <= 10; ++code) {
        if (code < 10 && valid.find(static_cast<char>('0' + code)) != valid.npos) continue;
        std::array<unsigned char, 16> result;
        result.fill(0xA5);
        IntfId key = "et1"_intf;
        EXPECT_EQ(op(result.data(), object, wanted, static_cast<Op>(code), &key, &key),
                  line != nullptr ? GenericIf::notValid : GenericIf::noSuchAttribute)
            << index << ' ' << code;
        EXPECT_EQ(std::count(result.begin(), result.end(), 0xA5), 16) << index << ' ' << code;
        ++refused;
      }
      GenericIf::Iterator::IteratorVTable const* operations = nullptr;
      auto* const iterator = access.genericIfIterator(object, &wanted, &operations);
      EXPECT_EQ(iterator != nullptr, line != nullptr && line->keyType != nullptr) << index;
      EXPECT_EQ(operations != nullptr, iterator != nullptr);
      if (iterator != nullptr) operations->iterDel(&wanted, iterator);
    }
    EXPECT_GT(refused, 100U);
  }
  EXPECT_EQ(world.tables(), before);
  EXPECT_EQ(world.commands() + world.trace(), "");
}

TEST_F(GenericAccess, ReadsEveryReferenceAsOneCountedReference) {
  auto* const sm = coordinator();
  auto* const intfSm = machine();
  struct {
    Kiv::PtrInterface* object;
    char const* name;
    Kiv::PtrInterface const* expected;
  } const references[] = {
      {sm, "config", world.config.ptr()},
      {sm, "status", world.status.ptr()},
      {sm, "dynDot1qEncap", world.encap.ptr()},
      {sm, "ethIntfStatusDir", world.eth.ptr()},
      {sm, "deviceIntfStatusDir", world.device.ptr()},
      {sm, "ioctlDrvFab", sm->ioctlDrvFab().ptr()},
      {intfSm, "config", world.config.ptr()},
      {intfSm, "status", world.status.ptr()},
      {intfSm, "dynDot1qEncap", world.encap.ptr()},
      {intfSm, "ethIntfStatusDir", world.eth.ptr()},
      {intfSm, "ioctlDrvInterface", sm->ioctlDrvFab().ptr()},
      {intfSm, "deviceIntfStatusDir", world.device.ptr()},
      {intfSm, "macsecTag", intfSm->macsecTag().ptr()},
  };
  for (auto const& [object, name, expected] : references) {
    U32 const before = expected->references();
    {
      auto const read = objectOf(object, name, Op::read);
      EXPECT_EQ(read.ptr(), expected) << name;
      EXPECT_EQ(expected->references(), before + 1) << name;
    }
    EXPECT_EQ(expected->references(), before) << name;
  }
  EXPECT_EQ(valueOf<IntfId>(intfSm, "intfId", Op::read), "et1"_intf);
  intfSm->configDel();
  EXPECT_EQ(objectOf(intfSm, "config", Op::read), nullptr);
}

TEST_F(GenericAccess, WritesNoResultWhenAnOperationRaises) {
  auto* const sm = coordinator();
  IntfId et1 = "et1"_intf;
  auto const otherStatus = Status::StatusIs();
  std::array<void*, 7> ctor{
      &et1,    world.config.ptr(), otherStatus.ptr(), world.encap.ptr(), world.eth.ptr(),
      nullptr, world.device.ptr()};
  Kiv::PtrInterface const* untouched = sm;
  EXPECT_THROW(op(&untouched, sm, attr(sm, "macsecProxyIntfSm"), Op::insert, nullptr, ctor.data()),
               Kiv::NameInUseException);
  EXPECT_EQ(untouched, sm);
}

/// Walks `name` of `object` and changes things on the way; what was seen, in order.
template <class Value, class Show>
std::string walk(Kiv::PtrInterface* object, Kiv::KivAttr const& line, Show show,
                 std::function<void(IntfId)> const& onTheWay) {
  GenericIf::Iterator::IteratorVTable const* operations = nullptr;
  auto* const iterator = object->fwkType()->access().genericIfIterator(object, &line, &operations);
  std::string seen;
  for (; operations->iterNonnull(&line, iterator); operations->iterInc(&line, iterator)) {
    IntfId key;
    operations->iterKey(&line, iterator, &key);
    Value value{};
    operations->iterObj(&line, iterator, &value);
    seen += fmt::format("{}:{} ", key, show(value));
    onTheWay(key);
    IntfId again;
    operations->iterKey(&line, iterator, &again);
    EXPECT_EQ(again, key) << "the key stays readable";
  }
  operations->iterDel(&line, iterator);
  operations->iterDel(&line, nullptr);
  return seen;
}

TEST_F(GenericAccess, WalksSurviveEveryChangeOnTheWay) {
  auto* const sm = coordinator();
  auto* const intfSm = machine();
  auto const asNumber = [](auto value) { return U32{value}; };
  auto const asText = [](IntfId value) { return fmt::to_string(value); };
  EXPECT_EQ(walk<bool>(intfSm, attr(intfSm, "proxySubIntf"), asNumber,
                       [&](IntfId) { intfSm->proxySubIntfDelAll(); }),
            "et1.1:1 ");
  EXPECT_EQ(walk<IntfId>(intfSm, attr(intfSm, "clientIntf"), asText,
                         [&](IntfId key) {
                           if (key == "et7"_intf) intfSm->clientIntfIs("et9"_intf, "et1.2"_intf);
                           intfSm->clientIntfDel(key);
                         }),
            "et7:et1.1 et9:et1.2 ");
  EXPECT_EQ(walk<U32>(sm, attr(sm, "proxySubIntfCnt"), asNumber,
                      [&](IntfId) { sm->proxySubIntfCntDel("et2"_intf); }),
            "et1:2 ");

  // A machine is held while the walk stands on it: it dies only when the walk goes on.
  std::string const name = "et1 void MacsecProxy::MacsecProxyIntfSm::cleanup()";
  auto const release = [](Kiv::PtrInterface const* object) {
    auto const held = Kiv::Ptr<Kiv::PtrInterface const>::adopt(object);
    return std::string(held->fwkType()->name()).substr(13);
  };
  world.trace();
  EXPECT_EQ(walk<Kiv::PtrInterface const*>(
                sm, attr(sm, "macsecProxyIntfSm"), release,
                [&](IntfId key) {
                  if (key != "et1"_intf) return;
                  sm->macsecProxyIntfSmDelAll();
                  EXPECT_EQ(world.trace().find(name), std::string::npos);
                  sm->macsecProxyIntfSmIs("et5"_intf, world.config, world.status, world.encap,
                                          world.eth, sm->ioctlDrvFab(), world.device);
                }),
            "et1:MacsecProxyIntfSm et5:MacsecProxyIntfSm ");
  EXPECT_NE(world.trace().find(name), std::string::npos);
}

}  // namespace
