#include "Kiv/Exception.h"

namespace Kiv {

void throwRangeException(char const* message) { throw RangeException(message); }

void throwNameInUseException(String const& message) { throw NameInUseException(message); }

void throwConsistencyException(char const* condition) { throw ConsistencyException(condition); }

}  // namespace Kiv
