#include "Show.h"

#include <fmt/format.h>

#include "Cell.h"
#include "Pesk/Driver.h"

namespace Agent {

namespace {

Cell names(std::vector<Velto::IntfId> const& intfIds) {
  Cell list = Cell::array();
  for (Velto::IntfId const intfId : intfIds) list.push_back(cellOf(intfId));
  return list;
}

/// Sorted numbers as a list of "FIRST-LAST".
Cell ranges(std::vector<U32> const& numbers) {
  Cell list = Cell::array();
  for (std::size_t first = 0, last = 0; first < numbers.size(); first = ++last) {
    while (last + 1 < numbers.size() && numbers[last + 1] == numbers[last] + 1) ++last;
    list.push_back(fmt::format("{}-{}", numbers[first], numbers[last]));
  }
  return list;
}

/// A table with a row for each member of a collection.
template <class Map, class RowOf>
Table tableOf(char const* title, std::vector<std::string> columns, Map const& map, RowOf rowOf) {
  Table table{title, std::move(columns), {}};
  for (auto walk = map.iteratorConst(); walk; ++walk) {
    table.rows.push_back(rowOf(walk.key(), walk.value()));
  }
  return table;
}

}  // namespace

void showConfig(Session& session) {
  Entities const& entities = session.world.entities();
  session.printer.table(tableOf("configuration", {"sub-interface", "patch", "client"},
                                entities.config->proxyConfig(),
                                [](Velto::IntfId key, auto const& entry) {
                                  return Table::Row{cellOf(key), cellOf(entry->patchSubIntfId()),
                                                    cellOf(entry->clientIntfId())};
                                }));
  session.printer.table(tableOf(
      "ethernet status", {"port", "device"}, entities.ethIntfStatusDir->intfStatus(),
      [](Velto::IntfId key, auto const& port) {
        return Table::Row{cellOf(key), port ? Cell(port->deviceName().view()) : Cell(nullptr)};
      }));
  session.printer.table(tableOf("device names", {"port", "device"},
                                entities.deviceIntfStatusDir->intfStatusAndDeviceName(),
                                [](Velto::IntfId key, auto const& entry) {
                                  return Table::Row{cellOf(key), Cell(entry.deviceName.view())};
                                }));
}

void showStatus(Session& session) {
  MacsecProxy::Status const& status = *session.world.entities().status;
  session.printer.table(
      tableOf("marks", {"port", "in use"}, status.proxyIntf(), [](Velto::IntfId key, bool inUse) {
        return Table::Row{cellOf(key), inUse};
      }));
  session.printer.table(
      tableOf("records", {"sub-interface", "patch", "client", "encrypt tag", "client tag"},
              status.proxySubIntfStatus(), [](Velto::IntfId key, auto const& record) {
                return Table::Row{cellOf(key), cellOf(record->patchSubIntfId()),
                                  cellOf(record->clientIntfId()), record->encryptTag().value(),
                                  record->clientTag().value()};
              }));
}

void showEncaps(Session& session) {
  session.printer.table(tableOf("encapsulations", {"sub-interface", "tag"},
                                session.world.entities().dynDot1qEncap->encap(),
                                [](Velto::IntfId key, Bridging::Dot1qEncap encap) {
                                  return Table::Row{cellOf(key), encap.value()};
                                }));
}

void showDriver(Session& session) {
  auto const& driver = Pesk::Driver::instance();
  session.printer.table({"driver",
                         {"commands", "not understood"},
                         {{Cell(driver.log().size()), Cell(driver.notUnderstood())}}});
  Table modes{"proxy mode", {"device", "on"}, {}};
  for (std::string const& device : driver.proxyMode())
    modes.rows.push_back({Cell(device), Cell(true)});
  session.printer.table(modes);
  Table steering{"steering", {"client", "proxy", "tag"}, {}};
  for (auto const& [client, to] : driver.steering()) {
    steering.rows.push_back({Cell(client), Cell(to.proxyDevice), Cell(to.tag)});
  }
  session.printer.table(steering);
}

void showMachines(Session& session) {
  Table counts{"counts", {"port", "configured"}, {}};
  Table machines{"machines", {"port", "in service", "tags in use"}, {}};
  Table clients{"clients", {"port", "client", "served by"}, {}};
  if (session.world.isRunning()) {
    Library::View const view = session.world.view();
    for (auto const& [port, count] : view.proxySubIntfCnt) {
      counts.rows.push_back({cellOf(port), Cell(count)});
    }
    for (Library::Machine const& machine : view.machines) {
      machines.rows.push_back(
          {cellOf(machine.intfId), names(machine.proxySubIntf), ranges(machine.tags)});
      for (auto const& [client, subIntf] : machine.clientIntf) {
        clients.rows.push_back({cellOf(machine.intfId), cellOf(client), cellOf(subIntf)});
      }
    }
  } else {
    counts.whenEmpty = machines.whenEmpty = clients.whenEmpty = "not running";
  }
  session.printer.table(counts);
  session.printer.table(machines);
  session.printer.table(clients);
}

void showAll(Session& session) {
  for (auto const show : {showConfig, showStatus, showEncaps, showDriver, showMachines}) {
    show(session);
  }
}

}  // namespace Agent
