#pragma once

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "FloorParts.h"
#include "Pesk/Driver.h"
#include "PlainParts.h"
#include "Programs.h"
#include "Velto/SubIntfId.h"

namespace Bench {

/// The same proxy written directly for one process, without entities, reactors, traces or delivery
/// guarantees: each port is told of each event and passes over what is not its own. It has the
/// identifiers in common with the library, no table and no other code.
///
/// `Parts` are what it is made of: tables, tag pool, what keeps an identifier in a record, and the
/// text of commands.
template <class Parts>
class DirectProgram {
  template <class Value>
  using Table = typename Parts::template Table<Value>;
  template <class Value>
  using TableInOrder = typename Parts::template TableInOrder<Value>;
  using Keys = std::vector<Velto::IntfId>;

 public:
  struct Record {
    typename Parts::Kept patch;
    typename Parts::Kept client;
    U16 encryptTag;
  };

  void portIs(Velto::IntfId intfId, std::string const& device) {
    std::string& known = devices_.at(intfId);
    if (known == device) return;
    known = device;
    for (auto const& port : ports_) port->handleDevice(intfId);
  }
  void portDel(Velto::IntfId intfId) { devices_.take(intfId); }

  void configIs(SubIntf const& one) {
    if (Entry const* const present = config_.find(one.proxy)) {
      if (present->patch == one.patch && present->client == one.client) return;
      configDel(one.proxy);
    }
    config_.at(one.proxy) = Entry{one.patch, one.client};
    if (!running_) return;
    for (auto const& port : ports_) port->handleConfig(one.proxy);
    Velto::IntfId const parent = parentOf(one.proxy);
    if (counts_.at(parent)++ == 0) startPort(parent, {}, {one.proxy});
  }
  void configDel(Velto::IntfId proxy) {
    if (!config_.take(proxy) || !running_) return;
    for (auto const& port : ports_) port->handleConfig(proxy);
    Velto::IntfId const parent = parentOf(proxy);
    if (--*counts_.find(parent) > 0) return;
    counts_.take(parent);
    std::erase_if(ports_, [&](auto const& port) {
      if (port->intfId() != parent) return false;
      port->stop();
      return true;
    });
    marks_.take(parent);
  }

  bool running() const { return running_; }
  void start() {
    running_ = true;
    // Both tables are gone through once, not once for each port.
    Table<Keys> left;
    for (Velto::IntfId const key : records_.keys()) {
      if (config_.find(key) != nullptr) {
        left.at(parentOf(key)).push_back(key);
      } else {
        dropRecord(key);
      }
    }
    TableInOrder<Keys> wanted;
    for (Velto::IntfId const key : config_.keys()) wanted.at(parentOf(key)).push_back(key);
    for (Velto::IntfId const port : marks_.keys()) {
      if (wanted.find(port) == nullptr) marks_.take(port);
    }
    records_.expect(config_.size());
    encaps_.expect(2 * config_.size());
    for (Velto::IntfId const parent : wanted.keys()) {
      Keys const& keys = *wanted.find(parent);
      counts_.at(parent) = static_cast<U32>(keys.size());
      startPort(parent, left.at(parent), keys);
    }
  }
  void stop() {
    for (auto const& port : ports_) port->stop();
    crash();
  }
  void crash() {
    ports_.clear();
    counts_ = {};
    running_ = false;
  }
  void tablesDelAll() {
    records_ = {};
    encaps_ = {};
    marks_ = {};
  }

  TableInOrder<Record> const& records() const { return records_; }
  Table<U16> const& encaps() const { return encaps_; }
  Table<bool> const& marks() const { return marks_; }

 private:
  struct Entry {
    typename Parts::Kept patch;
    typename Parts::Kept client;
  };

  static Velto::IntfId parentOf(Velto::IntfId intfId) {
    return Velto::SubIntfId::parentIntfId(intfId);
  }

  static void send(Buffer const& buffer) {
    Pesk::Driver::instance().commandIs(buffer.data(), static_cast<U32>(buffer.size()), 0, 1, 0);
  }

  /// Takes a record out, with its encapsulations, and returns it.
  std::optional<Record> dropRecord(Velto::IntfId proxy) {
    auto record = records_.take(proxy);
    if (record) {
      encaps_.take(proxy);
      encaps_.take(record->patch);
    }
    return record;
  }

  class Port {
   public:
    Port(DirectProgram& all, Velto::IntfId intfId) : all_(all), intfId_(intfId) {}

    Velto::IntfId intfId() const { return intfId_; }

    void start(Keys const& left, Keys const& wanted) {
      for (Velto::IntfId const key : left) del(key);
      for (Velto::IntfId const key : wanted) add(key, *all_.config_.find(key));
      sendProxy(1);
    }
    void stop() {
      for (Velto::IntfId const key : inService_.keys()) del(key);
      sendProxy(0);
    }

    void handleConfig(Velto::IntfId proxy) {
      if (parentOf(proxy) == intfId_) handleOwn(proxy);
    }
    void handleDevice(Velto::IntfId changed) {
      if (changed == intfId_) {
        sendProxy(1);
        for (Velto::IntfId const client : clients_.keys()) sendClient(client);
      } else if (clients_.find(changed) != nullptr) {
        sendClient(changed);
      }
    }

   private:
    [[gnu::noinline]] void handleOwn(Velto::IntfId proxy) {
      if (Entry const* const entry = all_.config_.find(proxy)) {
        add(proxy, *entry);
      } else {
        del(proxy);
      }
    }
    void add(Velto::IntfId proxy, Entry const& entry) {
      U32 const encryptTag = tags_.take();
      if (encryptTag == 0) throw std::length_error("no tag pair is free");
      inService_.at(proxy) = true;
      all_.encaps_.at(proxy) = static_cast<U16>(encryptTag + 1);
      all_.encaps_.at(entry.patch) = static_cast<U16>(encryptTag);
      all_.records_.at(proxy) = {entry.patch, entry.client, static_cast<U16>(encryptTag)};
      if (entry.client == Velto::IntfId()) return;
      clients_.at(entry.client) = proxy;
      sendClient(entry.client, encryptTag + 1);
    }
    void del(Velto::IntfId proxy) {
      auto const record = all_.dropRecord(proxy);
      if (!record) return;
      tags_.give(record->encryptTag);
      inService_.take(proxy);
      if (record->client == Velto::IntfId()) return;
      clients_.take(record->client);
      if (std::string const* const client = all_.devices_.find(record->client)) {
        Buffer buffer = noText();
        Parts::Command::client(buffer, proxy.stringValue().view(), *client, 0, 0);
        send(buffer);
      }
    }

    void sendProxy(U32 enable) const {
      std::string const* const proxy = all_.devices_.find(intfId_);
      if (proxy == nullptr) return;
      Buffer buffer = noText();
      Parts::Command::proxy(buffer, *proxy, enable);
      send(buffer);
    }
    void sendClient(Velto::IntfId client, U32 tag) const {
      std::string const* const device = all_.devices_.find(client);
      std::string const* const proxy = all_.devices_.find(intfId_);
      if (device == nullptr || proxy == nullptr) return;
      Buffer buffer = noText();
      Parts::Command::client(buffer, *proxy, *device, tag, 1);
      send(buffer);
    }
    void sendClient(Velto::IntfId client) {
      Record const& record = *all_.records_.find(*clients_.find(client));
      sendClient(client, record.encryptTag + 1U);
    }

    DirectProgram& all_;
    Velto::IntfId intfId_;
    typename Parts::Tags tags_;
    TableInOrder<bool> inService_;
    TableInOrder<Velto::IntfId> clients_;
  };

  void startPort(Velto::IntfId intfId, Keys const& left, Keys const& wanted) {
    marks_.at(intfId) = true;
    ports_.push_back(std::make_unique<Port>(*this, intfId));
    ports_.back()->start(left, wanted);
  }

  Table<std::string> devices_;
  TableInOrder<Entry> config_;
  TableInOrder<Record> records_;
  Table<U16> encaps_;
  Table<bool> marks_;
  Table<U32> counts_;
  std::vector<std::unique_ptr<Port>> ports_;
  bool running_ = false;
};

using PlainProgram = DirectProgram<PlainParts>;
using FloorProgram = DirectProgram<FloorParts>;

}  // namespace Bench
