#pragma once

/// What a host may use of the loadable library; everything else is hidden.
#define MACSECPROXY_API __attribute__((visibility("default")))
/// What belongs to a visible class but is nobody's business.
#define MACSECPROXY_LOCAL __attribute__((visibility("hidden")))
