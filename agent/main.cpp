#include <fmt/format.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "Commands.h"
#include "Library.h"
#include "Printer.h"
#include "Session.h"

namespace {

constexpr int failed = 3;

Agent::Session* sessionOfProcess = nullptr;
Agent::Place placeOfProcess;

/// The library's destructors must not raise; one that does, because the driver was told to throw,
/// ends the process. What has happened until then is printed nevertheless.
[[noreturn]] void reportAndEnd() noexcept {
  try {
    sessionOfProcess->printCommands();
    sessionOfProcess->printer.flush();
    std::rethrow_exception(std::current_exception());
  } catch (std::exception const& error) {
    std::cerr << fmt::format("{}:{}: raised by a teardown, which ends the process: {}\n",
                             placeOfProcess.file, placeOfProcess.line, error.what());
  }
  std::_Exit(failed);
}

/// Carries out a whole input and returns the exit status. A person at a terminal may go on after a
/// fault.
int run(Agent::Session& session, std::istream& input, std::string const& name, bool atTerminal) {
  placeOfProcess = {name, 0, 1};
  for (std::string text;;) {
    if (atTerminal) session.printer.prompt();
    session.printer.flush();
    if (!std::getline(input, text)) break;
    ++placeOfProcess.line;
    try {
      Agent::Line line(placeOfProcess, text);
      if (line.hasMore()) session.carryOut(Agent::orderIn(std::move(line)));
    } catch (Agent::Fault const& fault) {
      session.printer.flush();
      std::cerr << fault.text();
      if (!atTerminal) return fault.status;
    }
  }
  if (!input.bad()) return 0;
  std::cerr << name << ": cannot be read\n";
  return Agent::Fault::badInput;
}

int runAll(Agent::Session& session, std::vector<std::string> const& files) {
  for (std::string const& name : files) {
    int status = 0;
    if (name == "-") {
      status = run(session, std::cin, "<stdin>", isatty(STDIN_FILENO) != 0);
    } else {
      std::ifstream file(name, std::ios::binary);
      if (!file) file.setstate(std::ios::badbit);
      status = run(session, file, name, false);
    }
    if (status != 0) return status;
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{
      "Runs the MACsec proxy library in a stand-in agent, on commands from files or standard "
      "input; the command `help` lists them.",
      "macsecproxy-agent"};
  bool json = false;
  std::vector<std::string> files;
  std::string library = Agent::Library::defaultFile();
  app.add_flag("--json", json, "Print one JSON object a line");
  app.add_option("--library", library, "The library to load, instead of this program's own")
      ->option_text("FILE");
  app.add_option("FILE", files, "Files of commands, in order; - or none for standard input");
  try {
    app.parse(argc, argv);
  } catch (CLI::ParseError const& error) {
    return app.exit(error) == 0 ? 0 : Agent::Fault::badInput;
  }
  if (files.empty()) files.emplace_back("-");
  try {
    Agent::Library::load(library);
  } catch (std::runtime_error const& error) {
    std::cerr << error.what() << '\n';
    return Agent::Fault::badInput;
  }

  try {
    Agent::Printer printer(json,
                           isatty(STDIN_FILENO) == 0 || files != std::vector<std::string>{"-"});
    Agent::Session session(printer);
    sessionOfProcess = &session;
    std::set_terminate(reportAndEnd);
    return runAll(session, files);
  } catch (std::exception const& error) {
    std::cerr << error.what() << '\n';
    return failed;
  }
}
