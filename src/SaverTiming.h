#ifndef QEL_SETTINGS_SAVERTIMING_H
#define QEL_SETTINGS_SAVERTIMING_H

#include <boost/chrono/duration.hpp>

namespace Qel {
namespace Settings {

/// How long the saver's thread rests when it finds nothing to save; tests shorten it before the
/// saver starts.
extern boost::chrono::milliseconds saverIdlePeriod;

}  // namespace Settings
}  // namespace Qel

#endif
