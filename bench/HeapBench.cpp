// Counts, for each store and number of settings, what an open store keeps on the heap once every
// setting was read. Prints one line each: store, settings, bytes, allocations. The bytes are those
// that the allocator gives, with its own word for each block.

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <iostream>
#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>

#include "ScratchFiles.h"

namespace {

std::atomic<long long> bytesInUse{0};
std::atomic<long long> blocksInUse{0};

void* taken(void* block) {
    if (block != nullptr) {
        bytesInUse += static_cast<long long>(malloc_usable_size(block) + sizeof(std::size_t));
        ++blocksInUse;
    }
    return block;
}

void given(void* block) {
    if (block != nullptr) {
        bytesInUse -= static_cast<long long>(malloc_usable_size(block) + sizeof(std::size_t));
        --blocksInUse;
    }
}

}  // namespace

// In place of the C library's own, which does the work, for all libraries.
#pragma GCC visibility push(default)
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void* block);

void* malloc(std::size_t size) {
    return taken(__libc_malloc(size));
}
void* calloc(std::size_t count, std::size_t size) {
    return taken(__libc_calloc(count, size));
}
void* realloc(void* block, std::size_t size) {
    given(block);
    return taken(__libc_realloc(block, size));
}
void* memalign(std::size_t alignment, std::size_t size) {
    return taken(__libc_memalign(alignment, size));
}
void* aligned_alloc(std::size_t alignment, std::size_t size) {
    return taken(__libc_memalign(alignment, size));
}
int posix_memalign(void** block, std::size_t alignment, std::size_t size) {
    void* const found = taken(__libc_memalign(alignment, size));
    if (found == nullptr) return ENOMEM;
    *block = found;
    return 0;
}
void free(void* block) {
    given(block);
    __libc_free(block);
}
}
#pragma GCC visibility pop

namespace bench {

namespace {

/// Does `work` in a process of its own, where no library has blocks left over from other work.
template <class Work>
void inChild(Work work) {
    const pid_t child = ::fork();
    if (child == 0) {
        try {
            work();
            std::cout.flush();
            ::_exit(0);
        } catch (const std::exception& error) {
            std::cerr << "HeapBench: " << error.what() << '\n';
            ::_exit(1);
        }
    }
    int status = 0;
    if (::waitpid(child, &status, 0) != child || status != 0) {
        throw std::runtime_error("a child failed");
    }
}

void count(const Peer& peer, const Settings& settings, const std::string& path) {
    const auto store = makePrepared(peer, settings);
    const long long bytesBefore = bytesInUse;
    const long long blocksBefore = blocksInUse;
    store->open(path);
    checkValues(peer, settings, *store);
    // Before the output takes its buffer.
    const long long bytes = bytesInUse - bytesBefore;
    const long long blocks = blocksInUse - blocksBefore;
    std::cout << peer.name << ' ' << settings.size() << ' ' << bytes << ' ' << blocks << '\n';
}

}  // namespace

}  // namespace bench

int main() {
    try {
        bench::ScratchFiles files("/dev/shm");
        for (const std::size_t size : {100, 1000, 10000, 100000}) {
            const bench::Settings settings = bench::makeSettings(size);
            for (const bench::Peer& peer : bench::peers()) {
                const std::string path = files.freshPath();
                bench::inChild([&] { bench::createFile(peer, settings, path); });
                bench::inChild([&] { bench::count(peer, settings, path); });
            }
        }
        return 0;
    } catch (const std::exception& error) {
        std::cerr << "HeapBench: " << error.what() << '\n';
        return 1;
    }
}
