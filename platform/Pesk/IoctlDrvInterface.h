#pragma once

#include "Kiv/Integers.h"
#include "Kiv/PtrInterface.h"

namespace Pesk {

/// A channel to the forwarding driver, through which commands go as text.
class IoctlDrvInterface : public Kiv::PtrInterface {
 public:
  /// Sends one command: a NUL-terminated text in a buffer of `bufferLength` bytes. What the three
  /// further numbers mean is the driver's business. Returns 0 when the driver took the command, and
  /// another number of the driver's when it refused it. Raises what the driver raises.
  virtual int doIoctl(char const* command, U32 bufferLength, U32 argument3, U32 argument4,
                      U32 argument5) = 0;

  Kiv::KivType const* fwkType() const override;
  static Kiv::KivType const _kivType;
};

}  // namespace Pesk
