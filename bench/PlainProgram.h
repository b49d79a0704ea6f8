#pragma once

#include <algorithm>
#include <array>
#include <bitset>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "Pesk/Driver.h"
#include "Velto/SubIntfId.h"
#include "World.h"

namespace Bench {

/// The yardstick: the same proxy written directly for one process, without entities, reactors,
/// traces or delivery guarantees. Hash tables of the standard library, a bitset for the tags,
/// `snprintf` for the commands; each port is told of each event and passes over what is not its
/// own. It has the identifiers in common with the library, no table and no other code.
///
/// Where the order of a table can be seen from outside, its members carry a number that says which
/// came first.
class PlainProgram {
 public:
  struct Hash {
    std::size_t operator()(Velto::IntfId intfId) const noexcept { return intfId.hash(); }
  };
  template <class Value>
  using Table = std::unordered_map<Velto::IntfId, Value, Hash>;

  struct Record {
    Velto::IntfId patch;
    Velto::IntfId client;
    U32 encryptTag;
    U32 clientTag;
    U64 since;
  };

  void portIs(Velto::IntfId intfId, std::string const& device) {
    std::string& known = devices_[intfId];
    if (known == device) return;
    known = device;
    for (auto const& port : ports_) port->handleDevice(intfId);
  }
  void portDel(Velto::IntfId intfId) { devices_.erase(intfId); }

  void configIs(SubIntf const& one) {
    auto const present = config_.find(one.proxy);
    if (present != config_.end()) {
      if (present->second.patch == one.patch && present->second.client == one.client) return;
      configDel(one.proxy);
    }
    config_.emplace(one.proxy, Entry{one.patch, one.client, ++clock_});
    if (!running_) return;
    for (auto const& port : ports_) port->handleConfig(one.proxy);
    Velto::IntfId const parent = parentOf(one.proxy);
    if (counts_[parent]++ == 0) startPort(parent, {}, {one.proxy});
  }
  void configDel(Velto::IntfId proxy) {
    if (config_.erase(proxy) == 0 || !running_) return;
    for (auto const& port : ports_) port->handleConfig(proxy);
    Velto::IntfId const parent = parentOf(proxy);
    auto const configured = counts_.find(parent);
    if (--configured->second > 0) return;
    counts_.erase(configured);
    std::erase_if(ports_, [&](auto const& port) {
      if (port->intfId() != parent) return false;
      port->stop();
      return true;
    });
    marks_.erase(parent);
  }

  bool running() const { return running_; }
  void start() {
    running_ = true;
    for (auto at = records_.begin(); at != records_.end();) {
      if (config_.contains(at->first)) {
        ++at;
        continue;
      }
      encaps_.erase(at->first);
      encaps_.erase(at->second.patch);
      at = records_.erase(at);
    }
    // Both tables are gone through once, not once for each port.
    Table<std::vector<Velto::IntfId>> left;
    for (auto const& [since, key] : inOrder(records_)) left[parentOf(key)].push_back(key);
    Table<std::vector<Velto::IntfId>> wanted;
    std::vector<Velto::IntfId> parents;
    for (auto const& [since, key] : inOrder(config_)) {
      auto& keys = wanted[parentOf(key)];
      if (keys.empty()) parents.push_back(parentOf(key));
      keys.push_back(key);
    }
    std::erase_if(marks_, [&](auto const& mark) { return !wanted.contains(mark.first); });
    for (Velto::IntfId const parent : parents) {
      counts_[parent] = static_cast<U32>(wanted[parent].size());
      startPort(parent, left[parent], wanted[parent]);
    }
  }
  void stop() {
    for (auto const& port : ports_) port->stop();
    crash();
  }
  void crash() {
    ports_.clear();
    counts_.clear();
    running_ = false;
  }
  void tablesDelAll() {
    records_ = {};
    encaps_ = {};
    marks_ = {};
  }

  Table<Record> const& records() const { return records_; }
  Table<U32> const& encaps() const { return encaps_; }
  Table<bool> const& marks() const { return marks_; }

 private:
  struct Entry {
    Velto::IntfId patch;
    Velto::IntfId client;
    U64 since;
  };
  struct InService {
    U64 since;
  };
  struct Client {
    Velto::IntfId servedBy;
    U64 since;
  };

  static Velto::IntfId parentOf(Velto::IntfId intfId) {
    return Velto::SubIntfId::parentIntfId(intfId);
  }

  /// The keys of a table, oldest first.
  template <class Value>
  static std::vector<std::pair<U64, Velto::IntfId>> inOrder(Table<Value> const& table) {
    std::vector<std::pair<U64, Velto::IntfId>> keys;
    for (auto const& [key, value] : table) keys.emplace_back(value.since, key);
    std::sort(keys.begin(), keys.end());
    return keys;
  }

  template <class... Fields>
  static void send(char const* format, Fields... fields) {
    std::array<char, 128> buffer{};
    std::snprintf(buffer.data(), buffer.size(), format, fields...);
    Pesk::Driver::instance().commandIs(buffer.data(), 128, 0, 1, 0);
  }

  std::string const* device(Velto::IntfId intfId) const {
    auto const found = devices_.find(intfId);
    return found != devices_.end() ? &found->second : nullptr;
  }

  class Port {
   public:
    Port(PlainProgram& all, Velto::IntfId intfId) : all_(all), intfId_(intfId) { free_.set(); }

    Velto::IntfId intfId() const { return intfId_; }

    void start(std::vector<Velto::IntfId> const& left, std::vector<Velto::IntfId> const& wanted) {
      for (Velto::IntfId const key : left) del(key);
      for (Velto::IntfId const key : wanted) add(key);
      sendProxy(1);
    }
    void stop() {
      for (auto const& [since, key] : inOrder(inService_)) del(key);
      sendProxy(0);
    }

    void handleConfig(Velto::IntfId proxy) {
      if (parentOf(proxy) != intfId_) return;
      all_.config_.contains(proxy) ? add(proxy) : del(proxy);
    }
    void handleDevice(Velto::IntfId changed) {
      if (changed == intfId_) {
        sendProxy(1);
        for (auto const& [since, client] : inOrder(clients_)) sendClient(client);
      } else if (clients_.contains(changed)) {
        sendClient(changed);
      }
    }

   private:
    void add(Velto::IntfId proxy) {
      Entry const& entry = all_.config_.at(proxy);
      std::size_t const pair = free_._Find_first();
      if (pair == free_.size()) throw std::length_error("no tag pair is free");
      free_.reset(pair);
      auto const encryptTag = static_cast<U32>(2 * pair + 1);
      U64 const now = ++all_.clock_;
      inService_[proxy] = {now};
      all_.encaps_[proxy] = encryptTag + 1;
      all_.encaps_[entry.patch] = encryptTag;
      all_.records_[proxy] = {entry.patch, entry.client, encryptTag, encryptTag + 1, now};
      if (entry.client == Velto::IntfId()) return;
      clients_.try_emplace(entry.client, Client{{}, now}).first->second.servedBy = proxy;
      sendClient(entry.client);
    }
    void del(Velto::IntfId proxy) {
      auto const found = all_.records_.find(proxy);
      if (found == all_.records_.end()) return;
      Record const record = found->second;
      free_.set(record.encryptTag / 2);
      if (record.client != Velto::IntfId()) {
        clients_.erase(record.client);
        if (std::string const* const client = all_.device(record.client)) {
          send("macsec_proxy_client %s %s %u %u", proxy.stringValue().charPtr(), client->c_str(),
               0U, 0U);
        }
      }
      all_.encaps_.erase(proxy);
      all_.encaps_.erase(record.patch);
      all_.records_.erase(found);
      inService_.erase(proxy);
    }

    void sendProxy(U32 enable) const {
      std::string const* const proxy = all_.device(intfId_);
      if (proxy != nullptr) send("macsec_proxy %s %u", proxy->c_str(), enable);
    }
    void sendClient(Velto::IntfId clientId) const {
      std::string const* const proxy = all_.device(intfId_);
      std::string const* const client = all_.device(clientId);
      if (proxy == nullptr || client == nullptr) return;
      send("macsec_proxy_client %s %s %u %u", proxy->c_str(), client->c_str(),
           all_.records_.at(clients_.at(clientId).servedBy).clientTag, 1U);
    }

    PlainProgram& all_;
    Velto::IntfId intfId_;
    std::bitset<2047> free_;
    Table<InService> inService_;
    Table<Client> clients_;
  };

  void startPort(Velto::IntfId intfId, std::vector<Velto::IntfId> const& left,
                 std::vector<Velto::IntfId> const& wanted) {
    marks_[intfId] = true;
    ports_.push_back(std::make_unique<Port>(*this, intfId));
    ports_.back()->start(left, wanted);
  }

  Table<std::string> devices_;
  Table<Entry> config_;
  Table<Record> records_;
  Table<U32> encaps_;
  Table<bool> marks_;
  Table<U32> counts_;
  std::vector<std::unique_ptr<Port>> ports_;
  U64 clock_ = 0;
  bool running_ = false;
};

}  // namespace Bench
