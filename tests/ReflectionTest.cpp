#include <algorithm>
#include <array>

#include "Kiv/KivAttr.h"
#include "Kiv/TypeRegistry.h"
#include "World.h"

namespace {

using Kiv::GenericIf;
using Op = GenericIf::AttributeOp;

/// A world with et1.1 (client et7), et1.2 and et2.1 in service, seen through generic access alone.
class GenericAccess : public World {
 protected:
  MacsecProxySm* const sm = [this] {
    play("+et1.1/et3.1/et7 +et1.2/et3.2 +et2.1/et3.3/et8");
    start();
    commands();
    trace();
    return coordinator.ptr();
  }();
  MacsecProxyIntfSm* const intfSm = sm->macsecProxyIntfSm("et1"_intf).ptr();
  std::array<Kiv::PtrInterface*, 2> const both{sm, intfSm};

  Kiv::KivAttr const& machines = *sm->fwkType()->attribute(139);

  static int op(void* result, Kiv::PtrInterface* object, Kiv::KivAttr const& line, Op code,
                void* key = nullptr, void* args = nullptr) {
    return object->fwkType()->access().genericIfAttributeOp(result, object, &line, code, key, args);
  }
};

TEST_F(GenericAccess, RefusesEveryOtherIndexAndCodeAndTouchesNothing) {
  std::string const before = sizes();
  for (Kiv::PtrInterface* const object : both) {
    auto const& access = object->fwkType()->access();
    std::size_t lines = 0;
    for (U32 index = 0; index <= access.attributes.back().index + 1; ++index) {
      Kiv::KivAttr wanted;
      wanted.index = index;
      Kiv::KivAttr const* const line = object->fwkType()->attribute(index);
      ASSERT_TRUE(line == nullptr || line->index == index);
      lines += line != nullptr ? 1 : 0;
      bool const isCollection = line != nullptr && line->keyType != nullptr;
      for (U32 code = 0; code <= 10; ++code) {
        if (code < 10 && line != nullptr && line->allows(static_cast<Op>(code))) continue;
        std::array<unsigned char, 16> result;
        result.fill(0xA5);
        IntfId key = "et1"_intf;
        EXPECT_EQ(op(result.data(), object, wanted, static_cast<Op>(code), &key, &key),
                  line != nullptr ? GenericIf::notValid : GenericIf::noSuchAttribute)
            << index << ' ' << code;
        EXPECT_EQ(std::count(result.begin(), result.end(), 0xA5), 16) << index << ' ' << code;
      }
      GenericIf::Iterator::IteratorVTable const* operations = nullptr;
      auto* const iterator = access.genericIfIterator(object, &wanted, &operations);
      for (bool const is : {iterator != nullptr, operations != nullptr})
        EXPECT_EQ(is, isCollection);
      if (iterator != nullptr) operations->iterDel(&wanted, iterator);
    }
    EXPECT_EQ(lines, access.attributes.size());
  }
  EXPECT_EQ(commands() + sizes() + trace(), before + '\n');
}

TEST_F(GenericAccess, FindsTheFirstTypeOfAName) {
  static Kiv::KivType const again(sm->fwkType()->name(), nullptr);
  auto const types = Kiv::typeNodes();
  Kiv::typeNodeIs(&again);
  EXPECT_EQ(Kiv::typeNodes(), types);
  EXPECT_EQ(Kiv::typeNode(again.name()), sm->fwkType());
}

TEST_F(GenericAccess, CountsReferencesAndHandsOutNoneWhenAnOperationRaises) {
  std::size_t references = 0;
  for (Kiv::PtrInterface* const object : both) {
    GenericIf::Methods const& methods = *object->fwkType()->access().methods;
    EXPECT_EQ(methods.fwkType(object), object->fwkType());
    methods.referenceIs(object);
    methods.referenceDel(object);
    for (Kiv::KivAttr const& line : object->fwkType()->access().attributes) {
      if (line.keyType || !line.allows(Op::read) || !line.valueType->base()) continue;
      Kiv::PtrInterface const* read[2] = {};
      EXPECT_EQ(op(&read[0], object, line, Op::read), GenericIf::done);
      U32 const before = methods.references(read[0]);
      EXPECT_EQ(before, read[0]->references());
      EXPECT_EQ(op(&read[1], object, line, Op::read), GenericIf::done);
      EXPECT_EQ(read[1]->references(), before + 1) << line.name;
      for (auto const* each : read) methods.referenceDel(each);
      ++references;
    }
  }
  EXPECT_EQ(references, 13U);
  IntfId et1 = "et1"_intf;
  std::array<void*, 7> ctor{&et1, nullptr, status.ptr(), encap.ptr(), eth.ptr(), nullptr, nullptr};
  Kiv::PtrInterface const* untouched = sm;
  EXPECT_THROW(op(&untouched, sm, machines, Op::insert, nullptr, ctor.data()),
               Kiv::NameInUseException);
  EXPECT_EQ(untouched, sm);
}

TEST_F(GenericAccess, AWalkSurvivesEveryChangeOnTheWayAndHoldsTheMachineItStandsOn) {
  std::string const end = "et1 MacsecProxyIntfSm::cleanup()";
  GenericIf::Iterator::IteratorVTable const* operations = nullptr;
  auto* const iterator = sm->fwkType()->access().genericIfIterator(sm, &machines, &operations);
  auto const at = [&] {
    IntfId key;
    operations->iterKey(&machines, iterator, &key);
    return key;
  };
  EXPECT_EQ(at(), "et1"_intf);
  Kiv::PtrInterface const* object = nullptr;
  operations->iterObj(&machines, iterator, &object);
  EXPECT_EQ(Kiv::Ptr<Kiv::PtrInterface const>::adopt(object).ptr(), intfSm);
  sm->macsecProxyIntfSmDelAll();
  sm->macsecProxyIntfSmIs("et5"_intf, config, status, encap, eth, sm->ioctlDrvFab(), device);
  EXPECT_EQ(at(), "et1"_intf);
  EXPECT_EQ(trace().find(end), std::string::npos);
  operations->iterInc(&machines, iterator);
  EXPECT_NE(trace().find(end), std::string::npos);
  EXPECT_EQ(at(), "et5"_intf);
  operations->iterInc(&machines, iterator);
  EXPECT_FALSE(operations->iterNonnull(&machines, iterator));
  operations->iterDel(&machines, iterator);
  operations->iterDel(&machines, nullptr);
}

}  // namespace
