#ifndef T8SETTINGS_MISREADDEFAULTS_H
#define T8SETTINGS_MISREADDEFAULTS_H

#include <map>
#include <string>

#include "FileCheck.h"

namespace t8settings {

/// Lines of defaults files that no load takes, or that it reads as something else than they say:
/// what comes of them is no default that anybody wants. Each file is looked into once.
class MisreadDefaults {
public:
    explicit MisreadDefaults(const FactoryPtr& factory) : factory_(factory) {}

    /// Throws `Failure` when the line of the setting in the defaults file at `path` is such a one.
    void demandNone(const std::string& path, const std::string& name);

private:
    using Findings = std::map<std::string, FileFinding>;  ///< by the setting's name

    Findings findingsIn(const std::string& path) const;

    const FactoryPtr& factory_;
    std::map<std::string, Findings> known_;
};

}  // namespace t8settings

#endif
