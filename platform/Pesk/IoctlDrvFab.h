#pragma once

#include "Kiv/Integers.h"
#include "Pesk/IoctlDrvInterface.h"

namespace Pesk {

/// The channel to this switch's forwarding driver, `Driver::instance()`.
class IoctlDrvFab : public IoctlDrvInterface {
 public:
  IoctlDrvFab() = default;

  int doIoctl(char const* command, U32 bufferLength, U32 argument3, U32 argument4,
              U32 argument5) override;

  Kiv::KivType const* fwkType() const override;
  static Kiv::KivType const _kivType;
  KIV_ALLOC_TRACKED
};

}  // namespace Pesk
