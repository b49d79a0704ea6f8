#include "Kiv/Builtin.h"

namespace Kiv {

template <>
constinit KivType const Builtin<bool>::_kivType{"bool", nullptr};
template <>
constinit KivType const Builtin<U32>::_kivType{"U32", nullptr};
template <>
constinit KivType const Builtin<U64>::_kivType{"U64", nullptr};

constinit KivType const _kivType_void{"void", nullptr};

}  // namespace Kiv
