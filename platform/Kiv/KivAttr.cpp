#include "Kiv/KivAttr.h"

#include <algorithm>

namespace Kiv {

KivAttr const* KivType::attribute(U32 index) const noexcept {
  auto const found = std::ranges::lower_bound(access_.attributes, index, {}, &KivAttr::index);
  return found != access_.attributes.end() && found->index == index ? &*found : nullptr;
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
