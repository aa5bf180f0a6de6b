#include "HolderBlocks.h"

#include <algorithm>
#include <atomic>
#include <new>
#include <utility>

#include "Qel/Settings/SettingHolder.h"

#ifndef T8_HOLDERS_PER_BLOCK
#define T8_HOLDERS_PER_BLOCK 64
#endif

namespace Qel {
namespace Settings {

/// Room for a setting and for what `boost::shared_ptr` keeps of it: its functions, two counts, a
/// pointer (to nothing) and the allocator.
struct HolderBlocks::Place {
    alignas(SettingHolder) unsigned char bytes[3 * sizeof(void*) + 2 * sizeof(int) +
                                               sizeof(SettingHolder)];
};

/// The beginning of a block; its places follow.
class HolderBlocks::Block {
public:
    static Block* ofPlaces(std::size_t count) {
        return new (::operator new(sizeof(Block) + count * sizeof(Place))) Block(count);
    }

    /// The next place, while there is one.
    void* take() noexcept { return next_++; }

    /// Gives `count` places up, taken or not.
    void drop(std::size_t count) {
        if (places_.fetch_sub(count, std::memory_order_acq_rel) == count) {
            ::operator delete(this);
        }
    }

private:
    explicit Block(std::size_t places)
        : places_(places), next_(reinterpret_cast<Place*>(this + 1)) {}

    std::atomic<std::size_t> places_;  ///< that are not given up yet
    Place* next_;
};

template <class T>
struct HolderBlocks::Allocator {
    using value_type = T;

    explicit Allocator(Block* from) : block(from) {}
    template <class U>
    Allocator(const Allocator<U>& other) : block(other.block) {}

    T* allocate(std::size_t) noexcept {
        static_assert(sizeof(T) <= sizeof(Place) && alignof(T) <= alignof(Place));
        return static_cast<T*>(block->take());
    }
    void deallocate(T*, std::size_t) { block->drop(1); }

    Block* block;
};

/// Has the setting that it ends inside itself, and is itself inside what `boost::shared_ptr` keeps:
/// `boost::allocate_shared` would keep the allocator twice and an address besides.
class HolderBlocks::Ending {
public:
    Ending() = default;
    // On the way to its place, where there is no setting yet.
    Ending(const Ending&) {}
    Ending& operator=(const Ending&) = delete;

    SettingHolder* begin(std::string&& name, boost::any&& value) {
        return new (setting_) SettingHolder(std::move(name), std::move(value));
    }
    void operator()(void*) {
        std::launder(reinterpret_cast<SettingHolder*>(setting_))->~SettingHolder();
    }

private:
    alignas(SettingHolder) unsigned char setting_[sizeof(SettingHolder)];
};

HolderBlocks::~HolderBlocks() {
    if (free_ > 0) {
        block_->drop(free_);
    }
}

boost::shared_ptr<SettingHolder> HolderBlocks::make(std::string&& name, boost::any&& value) {
    if (free_ == 0) {
        const auto places = std::clamp<std::size_t>(expected_, 1, T8_HOLDERS_PER_BLOCK);
        block_ = Block::ofPlaces(places);
        free_ = places;
    }
    --free_;
    // From here on nothing throws, so no setting ends that did not begin.
    boost::shared_ptr<void> owner(static_cast<void*>(nullptr), Ending(), Allocator<void>(block_));
    auto* const holder =
        boost::get_deleter<Ending>(owner)->begin(std::move(name), std::move(value));
    return boost::shared_ptr<SettingHolder>(std::move(owner), holder);
}

}  // namespace Settings
}  // namespace Qel
