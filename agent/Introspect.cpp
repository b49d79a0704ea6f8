#include "Introspect.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Argument.h"
#include "Cell.h"
#include "Kiv/TypeRegistry.h"
#include "Library.h"

namespace Agent {

namespace {

using Generic::Op;
using Kiv::KivAttr;
using Kiv::KivType;

struct Verb {
  Op op;
  std::string_view word;
};
constexpr Verb verbs[] = {{Op::read, "get"},   {Op::insert, "set"},      {Op::remove, "del"},
                          {Op::size, "count"}, {Op::version, "version"}, {Op::has, "has"},
                          {Op::call, "call"}};

std::string verbsFor(KivAttr const& attr) {
  std::string valid;
  for (auto const& [op, word] : verbs) {
    if (attr.allows(op)) valid += fmt::format("{}{}", valid.empty() ? "" : " ", word);
  }
  return attr.iterator != nullptr ? valid + " walk" : valid;
}

char const* kindOf(KivAttr const& attr) {
  switch (attr.kind) {
    case KivAttr::Kind::value:
      return "value";
    case KivAttr::Kind::fixedReference:
      return "fixed reference";
    case KivAttr::Kind::rebindableReference:
      return "rebindable reference";
    case KivAttr::Kind::instantiatingReference:
      return "instantiating reference";
    case KivAttr::Kind::collection:
      return "collection";
    case KivAttr::Kind::instantiatingCollection:
      return "instantiating collection";
    case KivAttr::Kind::function:
      return "function";
  }
  return "unknown";
}

/// Each argument with a blank before it.
std::string textOf(std::span<Kiv::KivArgument const> arguments) {
  std::string text;
  for (auto const& [name, type] : arguments) text += fmt::format(" <{} {}>", name, type->name());
  return text;
}
Cell argumentsOf(std::span<Kiv::KivArgument const> arguments) {
  if (arguments.empty()) return nullptr;
  return textOf(arguments).substr(1);
}

Cell nameOf(KivType const* type) { return type != nullptr ? Cell(type->name()) : Cell(nullptr); }

/// The attribute of an object, as words of a line name them.
struct Target {
  std::optional<Velto::IntfId> port;
  Place place;
  std::string attribute;
  Place attributePlace;

  static Target in(Line& line) {
    Target target;
    target.place = line.place();
    if (line.choice("an object", {"coordinator", "machine"}) == 1) target.port = line.take<Port>();
    target.attributePlace = line.place();
    target.attribute = line.word();
    return target;
  }

  KivType const& type() const { return port ? Library::machineType() : Library::coordinatorType(); }

  Object object(World const& world) const {
    if (!port) return world.coordinator();
    auto machine = Generic::read<Object>(world.coordinator(), "macsecProxyIntfSm", {*port});
    if (machine) return machine;
    throw Fault(Fault::badInput, place,
                fmt::format("there is no machine {}", inQuotes(port->stringValue().view())),
                "`walk coordinator macsecProxyIntfSm` shows those that are there");
  }

  /// What the library's answer to an operation that was not done means to a user.
  Fault refusal(int answer, KivAttr const& attr, std::string_view verb) const {
    if (answer == Kiv::GenericIf::noSuchAttribute) {
      std::string names;
      for (KivAttr const& each : type().access().attributes) {
        names += fmt::format("{}{}", names.empty() ? "" : ", ", each.name);
      }
      return {Fault::badInput, attributePlace,
              fmt::format("{} has no attribute {} (result {})", type().name(), inQuotes(attribute),
                          answer),
              "it has " + names};
    }
    return {Fault::badInput, attributePlace,
            fmt::format("{} is not valid for the {} {} (result {})", verb, kindOf(attr), attr.name,
                        answer),
            "valid for it: " + verbsFor(attr)};
  }
};

}  // namespace

void showTypes(Session& session) {
  Table table{"types", {"name", "base", "attributes"}, {}};
  for (KivType const* const type : Kiv::typeNodes()) {
    table.rows.push_back(
        {Cell(type->name()), nameOf(type->base()), Cell(type->access().attributes.size())});
  }
  session.printer.table(table);
}

CarryOut readType(Line& line) {
  Place const place = line.place();
  std::string const name = line.word();
  line.end();
  KivType const* const type = Kiv::typeNode(name);
  if (type == nullptr) {
    throw Fault(Fault::badInput, place, "no type " + inQuotes(name) + " is registered",
                "`types` shows those that are");
  }
  return [type](Session& session) {
    auto const& access = type->access();
    session.printer.table({"type",
                           {"name", "base", "constructible", "constructor arguments"},
                           {{Cell(type->name()), nameOf(type->base()),
                             Cell(access.genericIfConstructFromCtorArgs != nullptr),
                             argumentsOf(access.ctorArguments)}}});
    Table table{"attributes",
                {"index", "name", "kind", "read-only", "value type", "key type", "key attribute",
                 "operations", "arguments"},
                {}};
    for (KivAttr const& attr : access.attributes) {
      table.rows.push_back({Cell(attr.index), Cell(attr.name), Cell(kindOf(attr)),
                            Cell(attr.isReadOnly), nameOf(attr.valueType), nameOf(attr.keyType),
                            attr.keyAttribute != nullptr ? Cell(attr.keyAttribute) : Cell(nullptr),
                            Cell(verbsFor(attr)), argumentsOf(attr.arguments())});
    }
    session.printer.table(table);
  };
}

CarryOut readWalk(Line& line) {
  Target const target = Target::in(line);
  line.end();
  return [target](Session& session) {
    KivAttr const attr = Generic::attribute(target.type(), target.attribute);
    Object const object = target.object(session.world);
    Table table{target.attribute, {"key", "value"}, {}};
    bool const walked = Generic::walk(object, attr, [&](Value const& key, Value const& value) {
      table.rows.push_back({cellOf(key), cellOf(value)});
    });
    if (!walked) {
      throw target.refusal(Generic::operate(object, attr, Op::size).result, attr, "walk");
    }
    session.printer.table(table);
  };
}

CarryOut readOperation(Line& line, Op op) {
  Target const target = Target::in(line);
  KivAttr const attr = Generic::attribute(target.type(), target.attribute);
  std::vector<Argument> arguments;
  if (attr.name != nullptr && attr.allows(op)) {
    auto const parameters = Generic::parameters(attr, op);
    std::string const usage = fmt::format("usage: {}{}", line.taken(), textOf(parameters));
    try {
      for (auto const& parameter : parameters) {
        arguments.push_back(readArgument(line, *parameter.type));
      }
      line.end();
    } catch (Fault& fault) {
      if (fault.detail.empty()) fault.detail = usage;
      throw;
    }
  } else if (line.hasMore()) {
    line.take<Rest>();  // The library will refuse, whatever it says.
  }
  return [=](Session& session) {
    Object const object = target.object(session.world);
    std::vector<Value> values;
    values.reserve(arguments.size());
    for (Argument const& argument : arguments) values.push_back(argument(session.world));
    auto const [result, value] = Generic::operate(object, attr, op, std::move(values));
    if (result != Kiv::GenericIf::done) {
      auto const* verb = std::ranges::find(verbs, op, &Verb::op);
      throw target.refusal(result, attr, verb->word);
    }
    if (value) session.printer.result(cellOf(*value));
  };
}

}  // namespace Agent
