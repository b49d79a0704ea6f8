#include "Kiv/Ptr.h"

#include <gtest/gtest.h>

#include <array>

#include "Allocations.h"
#include "Kiv/Entity.h"
#include "Kiv/MemoryPool.h"
#include "Threads.h"

namespace {

using Kiv::Ptr;

/// Makes counted pointers to itself at both ends of its life, and writes down how that goes.
class Fragile : public Kiv::PtrInterface {
 public:
  explicit Fragile(std::string& log, bool fails = false) : log_(log) {
    { Ptr<Kiv::PtrInterface const> const self = Ptr<Fragile>(this); }
    if (fails) throw std::runtime_error("fails");
    log_ += "made ";
  }
  ~Fragile() override {
    for (int turn = 0; turn < 2; ++turn) Ptr<Fragile> const self(this);
    log_ += "gone ";
  }
  void zeroReferencesIs(bool zero) override {
    log_ += zero ? "zero " : "some ";
    Kiv::PtrInterface::zeroReferencesIs(zero);
  }
  KIV_ALLOC_TRACKED

 private:
  std::string& log_;
};

constinit Kiv::AllocTrackTypeInfo Fragile::kivAllocTrackTypeInfo_{"Fragile"};

TEST(Ptr, CountsAndOwnership) {
  std::string log;
  Ptr<Fragile> first = Kiv::makeNew<Fragile>(log), second = first;
  Fragile const& object = *first;
  Ptr<Kiv::PtrInterface const> base = second;
  EXPECT_TRUE(first == second && base == first && base != nullptr && object.references() == 3);

  // Onto itself, by copy and by move; onto another pointer to the same object.
  Ptr<Fragile>& itself = second;
  second = itself;
  second = std::move(itself);
  second = first;
  EXPECT_TRUE(second && second->references() == 3);

  Ptr<Fragile> const third = std::move(second);
  base = std::move(first);
  EXPECT_TRUE(!first && !second && third == base && object.references() == 2);
  auto const* const released = base.release();
  base = Ptr<Kiv::PtrInterface const>::adopt(released);
  EXPECT_EQ(Kiv::dynamicPtr<Fragile const>(base)->references(), 3U);
  EXPECT_EQ(Kiv::dynamicPtr<Kiv::Entity const>(base), nullptr);
  base = nullptr;
  EXPECT_TRUE(log == "made " && object.references() == 1);
}

TEST(Ptr, OneDeletionAndTrueRecords) {
  std::string log;
  Kiv::AllocTrackTypeInfo const& record = Fragile::kivAllocTrackTypeInfo_;
  U64 const before = record.allocated();
  {
    auto const one = Kiv::makeNew<Fragile>(log);
    auto two = Kiv::makeNew<Fragile>(log);
    EXPECT_EQ(record.live(), 2U);
    two = nullptr;
    EXPECT_EQ(log, "made made zero gone ");
    EXPECT_THROW(Kiv::makeNew<Fragile>(log, true), std::runtime_error);
    // Memory comes in chunks: sooner or later one is needed.
    std::string others;
    std::vector<Ptr<Fragile>> many;
    many.reserve(100 + Kiv::MemoryPool::idleBytes() / sizeof(Fragile));
    others.reserve(20 * many.capacity());
    Allocations::failAt = 1;
    EXPECT_THROW(
        while (many.size() < many.capacity()) many.push_back(Kiv::makeNew<Fragile>(others)),
        std::bad_alloc);
    EXPECT_EQ(record.live(), 1 + many.size());
    EXPECT_EQ(record.allocated() - before, 3 + many.size());
  }
  EXPECT_EQ(log, "made made zero gone zero gone ");
  EXPECT_EQ(record.live(), 0U);
}

/// Each thread makes objects and lets all go but one, which goes elsewhere.
TEST(Ptr, TrueRecordsFromSeveralThreads) {
  constexpr std::size_t threads = 4, turns = 100000;
  Kiv::AllocTrackTypeInfo const& record = Fragile::kivAllocTrackTypeInfo_;
  std::array<std::string, threads + 1> logs;
  std::array<Ptr<Fragile>, threads + 1> kept;
  kept[threads] = Kiv::makeNew<Fragile>(logs[threads]);
  U64 const before = record.allocated();
  inThreads(threads, [&](std::size_t thread) {
    for (std::size_t turn = 0; turn < turns; ++turn) {
      logs[thread].clear();
      kept[thread] = Kiv::makeNew<Fragile>(logs[thread]);
    }
  });
  EXPECT_EQ(record.allocated() - before, threads * turns);
  EXPECT_EQ(record.live(), threads + 1);
  kept = {};
  EXPECT_EQ(record.live(), 0U);
}

TEST(Ptr, CountsFromSeveralThreads) {
  std::string log;
  auto object = Kiv::makeNew<Fragile>(log);
  Kiv::VFPtrInterface::threadSafePointers_ = true;
  inThreads(4, [&](std::size_t) {
    for (int turn = 0; turn < 1000000; ++turn) Ptr<Fragile> const copy = object;
  });
  EXPECT_EQ(object->references(), 1U);
  object = nullptr;
  EXPECT_EQ(log, "made zero gone ");
  Kiv::VFPtrInterface::threadSafePointers_ = false;
}

}  // namespace
