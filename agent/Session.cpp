#include "Session.h"

#include <utility>

#include "Pesk/Driver.h"

namespace Agent {

Session::Session(Printer& out, Entities entities) : world(std::move(entities)), printer(out) {
  formerSink_ = Kiv::Trace::sinkIs([this](Kiv::Trace::Record const& record) {
    // The driver is not asked to report: its log tells what was sent before this record.
    printCommands();
    printer.detail("trace", record.message);
  });
}

Session::~Session() { Kiv::Trace::sinkIs(formerSink_); }

void Session::carryOut(Order const& order) {
  checkRole(order);
  if (order.role != Role::query) printer.event(order.text);
  perform(order);
}

void Session::perform(Order const& order) {
  checkRole(order);
  if (order.role != Role::query) raised_.reset();
  try {
    order.carryOut(*this);
  } catch (Unmet const& unmet) {
    throw Fault(Fault::broken, order.place, printable(order.text), printable(unmet.there));
  } catch (Fault const&) {
    throw;
  } catch (std::exception const& error) {
    raised_ = error.what();
  }
  printCommands();
  if (order.role != Role::query && raised_) printer.detail("error", *raised_);
}

void Session::checkRole(Order const& order) const {
  if (order.role == Role::whileStopped && world.isRunning()) {
    throw Fault(Fault::badInput, order.place, "the library is running",
                "this can be done only before `start` or after `stop` or `crash`");
  }
  if (order.role == Role::whileRunning && !world.isRunning()) {
    throw Fault(Fault::badInput, order.place, "the library is not running", "`start` it first");
  }
}

void Session::printCommands() {
  auto const& log = Pesk::Driver::instance().log();
  while (printed_ < log.size()) printer.detail("driver", log[printed_++].text);
}

}  // namespace Agent
