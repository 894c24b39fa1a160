#include "terminal/Memory.h"

#include <quivo/chains/Text.h>

#include <algorithm>
#include <fstream>
#include <stdexcept>

#include <unistd.h>

#ifdef __GLIBC__
#include <malloc.h>
#endif

namespace Quivo::tool {

double getMemorySize() {
    double const machine =
        static_cast<double>(sysconf(_SC_PHYS_PAGES)) * static_cast<double>(sysconf(_SC_PAGE_SIZE));
    double limit = 0.0;
    bool const limited = static_cast<bool>(std::ifstream("/sys/fs/cgroup/memory.max") >> limit);
    return limited ? std::min(machine, limit) : machine;
}

void checkFitsIntoMemory(std::string const& subject, double numBytes) {
    constexpr double gib = 1024.0 * 1024.0 * 1024.0;
    double const available = getMemorySize();
    if (numBytes <= available) return;
    throw std::runtime_error(subject + ": the region needs " + toText(numBytes / gib, 1) +
                             " GiB of memory and there are " + toText(available / gib, 1) +
                             ": choose a smaller --box or a coarser --level");
}

void keepFreedMemory() {
#ifdef __GLIBC__
    // NOLINTBEGIN(concurrency-mt-unsafe): called before there is a second thread.
    mallopt(M_MMAP_THRESHOLD, 32 << 20);
    mallopt(M_TRIM_THRESHOLD, 256 << 20);
    // NOLINTEND(concurrency-mt-unsafe)
#endif
}

}  // namespace Quivo::tool
