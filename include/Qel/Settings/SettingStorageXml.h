#ifndef QEL_SETTINGS_SETTINGSTORAGEXML_H
#define QEL_SETTINGS_SETTINGSTORAGEXML_H

#include <memory>
#include <string>
#include <vector>

#include "Qel/Settings/CLibXml2SaxParser.h"
#include "Qel/Settings/Export.h"
#include "Qel/Settings/SettingStorageFileBase.h"

namespace Qel {
namespace Settings {

class NamesInFull;

/// Settings read from an XML document: each element without child elements is one, named by the
/// element names from the root down, joined with "/". docs/xml-format.md tells what counts as its
/// type and value.
///
/// Promise: the files are never written. A leaf that cannot be read is told to the system log and
/// to `errInfo()`, and costs no other setting. The name of the root element becomes the storage's.
///
/// No promise: when a document turns out not to be well-formed, what was read up to there stays.
///
/// Threads: a load holds the storage's own mutex. The operations of `CLibXml2SaxParser` are there
/// for the parse alone.
class QEL_SETTINGS_EXPORT SettingStorageXml : public SettingStorageFileBase,
                                              public CLibXml2SaxParser {
public:
    /// `name` holds until the first load.
    SettingStorageXml(const std::string& name, const std::string& filename,
                      const std::string& rwFilename);
    ~SettingStorageXml() override;

    /// Writes nothing; false.
    bool saveFile(const std::string& path) override;

    /// Makes the storage read-only, for good, and reads the document at `path`. False when it is
    /// not well-formed, compressed, larger than 64 MiB or cannot be read. Throws
    /// `std::length_error` when the names of the settings take more than 64 MiB in full.
    bool loadFile(const std::string& path) override;

    void onStartDocument() override;
    void onEndDocument() override;
    void onStartElement(const unsigned char* name, const unsigned char** attributes) override;
    void onEndElement(const unsigned char* name) override;
    void onCharacters(const unsigned char* text, int length) override;

private:
    /// An element that is open.
    struct SettingXmlNode {
        std::string name;
        bool leaf = true;
        std::string type = "std::string";
        std::string value;
    };

    void addSetting(const SettingXmlNode& leaf);
    bool createSetting(const std::string& settingName, const SettingXmlNode& leaf);
    std::string pathOfTop() const;

    std::vector<SettingXmlNode> nodes_;
    std::unique_ptr<NamesInFull> names_;
};

}  // namespace Settings
}  // namespace Qel

#endif
