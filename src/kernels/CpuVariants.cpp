#include "kernels/CpuVariants.h"

namespace Quivo::detail {

bool takesAvx2() noexcept {
#if !QUIVO_HAS_AVX2_VARIANTS || defined(QUIVO_FORCED_PLAIN)
    return false;
#elif defined(QUIVO_FORCED_AVX2)
    return true;
#else
    // A word that the compiler's run time filled before main().
    return __builtin_cpu_supports("avx2") != 0;
#endif
}

}  // namespace Quivo::detail
