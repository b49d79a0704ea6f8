#include <algorithm>

#include "Kiv/Attributes.h"
#include "Kiv/GenericIfImpl.h"
#include "Kiv/KivAttr.h"
#include "Kiv/KivType.h"
#include "MacsecProxy/MacsecProxySm.h"

namespace MacsecProxy {

namespace {

using Sm = MacsecProxySm;
using Line = Kiv::Attributes<Sm>;
using Kiv::overload;
using Velto::IntfId;

constexpr Kiv::KivAttr attributes[] = {
    Line::rebindableReference<&Sm::config>(130, "config"),
    Line::reference<&Sm::status>(131, "status"),
    Line::reference<&Sm::dynDot1qEncap>(132, "dynDot1qEncap"),
    Line::reference<&Sm::ethIntfStatusDir>(133, "ethIntfStatusDir"),
    Line::reference<&Sm::deviceIntfStatusDir>(134, "deviceIntfStatusDir"),
    Line::instantiatingReference<&Sm::ioctlDrvFab, &Sm::ioctlDrvFabIs, &Sm::ioctlDrvFabDel>(
        135, "ioctlDrvFab"),
    Line::function<overload<IntfId>(&Sm::handleProxyConfig)>(136, "handleProxyConfig", "intfId"),
    Line::collection<overload<>(&Sm::proxySubIntfCnt), &Sm::proxySubIntfCntIs,
                     &Sm::proxySubIntfCntDel>(138, "proxySubIntfCnt"),
    Line::instantiatingCollection<overload<>(&Sm::macsecProxyIntfSm), &Sm::macsecProxyIntfSmIs,
                                  &Sm::macsecProxyIntfSmDel>(
        139, "macsecProxyIntfSm", "intfId", "intfId", "config", "status", "dynDot1qEncap",
        "ethIntfStatusDir", "ioctlDrvInterface", "deviceIntfStatusDir"),
    Line::function<&Sm::handleInitialized>(140, "handleInitialized"),
};
static_assert(std::ranges::is_sorted(attributes, {}, &Kiv::KivAttr::index));

constexpr Kiv::KivArgument ctorArguments[] = {
    {"config", Kiv::TypeOf<Config>::record()},
    {"status", Kiv::TypeOf<Status>::record()},
    {"dynDot1qEncap", Kiv::TypeOf<Interface::SubIntfDynDot1qEncap>::record()},
    {"ethIntfStatusDir", Kiv::TypeOf<Interface::EthIntfStatusDir>::record()},
    {"deviceIntfStatusDir", Kiv::TypeOf<Interface::DeviceIntfStatusDir>::record()},
};

}  // namespace

constinit Kiv::KivType const MacsecProxySm::_kivType{
    "MacsecProxy::MacsecProxySm",
    &Kiv::PtrInterface::_kivType,
    {.attributes = attributes,
     .ctorArguments = ctorArguments,
     .methods = &Kiv::GenericIfImpl::GenericIfPtrInterfaceMethods<Kiv::PtrInterface>,
     .genericIfConstructFromCtorArgs =
         &Kiv::GenericIfImpl::genericIfConstructFromCtorArgs<&macsecProxySmFactory>,
     .genericIfAttributeOp = &Kiv::GenericIfImpl::genericIfAttributeOp<Sm>,
     .genericIfIterator = &Kiv::GenericIfImpl::genericIfIterator<Sm>}};

}  // namespace MacsecProxy
