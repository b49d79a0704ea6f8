#include "Kiv/KivAttr.h"

#include <algorithm>

namespace Kiv {

KivAttr const* KivType::attribute(U32 index) const noexcept {
  std::span<KivAttr const> const attributes = access_.attributes;
  if (attributes.empty() || index < attributes.front().index) return nullptr;
  // There are few gaps between indexes: it is where it would be without any, or not far before.
  std::size_t place =
      std::min<std::size_t>(index - attributes.front().index, attributes.size() - 1);
  while (attributes[place].index > index) --place;
  return attributes[place].index == index ? &attributes[place] : nullptr;
}

bool KivAttr::allows(GenericIf::AttributeOp op) const noexcept {
  using Op = GenericIf::AttributeOp;
  switch (kind) {
    case Kind::value:
    case Kind::fixedReference:
    case Kind::rebindableReference:
      return op == Op::read;
    case Kind::instantiatingReference:
      return op <= Op::remove;
    case Kind::collection:
    case Kind::instantiatingCollection:
      return op <= Op::has;
    case Kind::function:
      return op == Op::call;
  }
  return false;
}

}  // namespace Kiv
