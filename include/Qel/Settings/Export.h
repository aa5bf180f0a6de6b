#ifndef QEL_SETTINGS_EXPORT_H
#define QEL_SETTINGS_EXPORT_H

/// Marks what the shared library shows to its clients; everything else is hidden.
#define QEL_SETTINGS_EXPORT __attribute__((visibility("default")))

#endif
