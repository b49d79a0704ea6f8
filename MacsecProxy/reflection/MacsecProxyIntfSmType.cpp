#include <algorithm>

#include "Kiv/Attributes.h"
#include "Kiv/GenericIfImpl.h"
#include "Kiv/KivAttr.h"
#include "Kiv/KivType.h"
#include "MacsecProxy/MacsecProxyIntfSm.h"

namespace MacsecProxy {

namespace {

using Sm = MacsecProxyIntfSm;
using Line = Kiv::Attributes<Sm>;
using Kiv::overload;
using Velto::IntfId;

constexpr Kiv::KivAttr attributes[] = {
    Line::value<&Sm::intfId>(130, "intfId"),
    Line::rebindableReference<&Sm::config>(131, "config"),
    Line::reference<&Sm::status>(132, "status"),
    Line::reference<&Sm::dynDot1qEncap>(133, "dynDot1qEncap"),
    Line::reference<&Sm::ethIntfStatusDir>(134, "ethIntfStatusDir"),
    Line::reference<&Sm::ioctlDrvInterface>(135, "ioctlDrvInterface"),
    Line::rebindableReference<&Sm::deviceIntfStatusDir>(136, "deviceIntfStatusDir"),
    Line::function<&Sm::handleIntf>(137, "handleIntf", "intfId"),
    Line::function<&Sm::handleClientIntf>(138, "handleClientIntf", "intfId"),
    Line::collection<overload<>(&Sm::proxySubIntf), &Sm::proxySubIntfIs, &Sm::proxySubIntfDel>(
        140, "proxySubIntf"),
    Line::collection<overload<>(&Sm::clientIntf), &Sm::clientIntfIs, &Sm::clientIntfDel>(
        141, "clientIntf"),
    Line::function<&Sm::doUpdateDmaMacsecProxy>(142, "doUpdateDmaMacsecProxy", "intfId", "enable"),
    Line::function<&Sm::doUpdateDmaMacsecProxyClient>(
        143, "doUpdateDmaMacsecProxyClient", "proxyIntfId", "clientIntfId", "clientTag", "enable"),
    Line::function<&Sm::addProxySubIntfStatus>(144, "addProxySubIntfStatus", "proxySubIntfId",
                                               "patchSubIntfId"),
    Line::function<&Sm::deleteProxySubIntfStatus>(145, "deleteProxySubIntfStatus",
                                                  "proxySubIntfId"),
    Line::function<overload<IntfId>(&Sm::handleProxyConfig)>(146, "handleProxyConfig", "intfId"),
    Line::instantiatingReference<&Sm::macsecTag, &Sm::macsecTagIs, &Sm::macsecTagDel>(
        148, "macsecTag", "id", "size", "initialBitState"),
    Line::function<&Sm::handleInitialized>(149, "handleInitialized"),
    Line::function<&Sm::cleanup>(150, "cleanup"),
};
static_assert(std::ranges::is_sorted(attributes, {}, &Kiv::KivAttr::index));

constexpr Kiv::KivArgument ctorArguments[] = {
    {"intfId", Kiv::TypeOf<IntfId>::record()},
    {"config", Kiv::TypeOf<Config>::record()},
    {"status", Kiv::TypeOf<Status>::record()},
    {"dynDot1qEncap", Kiv::TypeOf<Interface::SubIntfDynDot1qEncap>::record()},
    {"ethIntfStatusDir", Kiv::TypeOf<Interface::EthIntfStatusDir>::record()},
    {"ioctlDrvInterface", Kiv::TypeOf<Pesk::IoctlDrvInterface>::record()},
    {"deviceIntfStatusDir", Kiv::TypeOf<Interface::DeviceIntfStatusDir>::record()},
};

}  // namespace

// No constructor entry point: machines are made through the coordinator's collection.
constinit Kiv::KivType const MacsecProxyIntfSm::_kivType{
    "MacsecProxy::MacsecProxyIntfSm",
    &Kiv::PtrInterface::_kivType,
    {.attributes = attributes,
     .ctorArguments = ctorArguments,
     .methods = &Kiv::GenericIfImpl::GenericIfPtrInterfaceMethods<Kiv::PtrInterface>,
     .genericIfConstructFromCtorArgs = nullptr,
     .genericIfAttributeOp = &Kiv::GenericIfImpl::genericIfAttributeOp<Sm>,
     .genericIfIterator = &Kiv::GenericIfImpl::genericIfIterator<Sm>}};

}  // namespace MacsecProxy
