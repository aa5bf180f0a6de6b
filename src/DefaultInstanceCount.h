#ifndef QEL_SETTINGS_DEFAULTINSTANCECOUNT_H
#define QEL_SETTINGS_DEFAULTINSTANCECOUNT_H

namespace Qel {
namespace Settings {

/// Default managers set up and not yet discarded; more than one is a leak to look for in a
/// debugger.
extern int defaultInstanceCount;

}  // namespace Settings
}  // namespace Qel

#endif
