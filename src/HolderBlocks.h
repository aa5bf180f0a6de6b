#ifndef QEL_SETTINGS_HOLDERBLOCKS_H
#define QEL_SETTINGS_HOLDERBLOCKS_H

#include <boost/any.hpp>
#include <boost/shared_ptr.hpp>
#include <cstddef>
#include <string>

namespace Qel {
namespace Settings {

class SettingHolder;

/// Makes the settings that a file brings, many of them in one block of memory: of three blocks for
/// a setting one is spared, and with it a tenth of a load's work.
///
/// A setting ends when nobody holds it any more, whatever becomes of its neighbours, but a block is
/// given back with the last of its settings. So a client that keeps one setting for ever keeps the
/// place of 63 others with it, some 6 kB, not their names and values.
///
/// For one thread; the settings themselves may end on any.
class HolderBlocks {
public:
    HolderBlocks() = default;
    ~HolderBlocks();
    HolderBlocks(const HolderBlocks&) = delete;
    HolderBlocks& operator=(const HolderBlocks&) = delete;

    /// No more than so many settings are to come: so much room a new block has at the most.
    void expect(std::size_t count) { expected_ = count; }

    boost::shared_ptr<SettingHolder> make(std::string&& name, boost::any&& value);

private:
    class Block;
    class Ending;
    struct Place;
    template <class T>
    struct Allocator;

    Block* block_ = nullptr;
    std::size_t free_ = 0;  ///< places of the block that no setting has taken yet
    std::size_t expected_ = 0;
};

}  // namespace Settings
}  // namespace Qel

#endif
