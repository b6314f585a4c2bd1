#include "MemoryBudget.h"

#include <unistd.h>

#include <atomic>
#include <limits>

namespace {

std::atomic<qint64> chosenBytes { 0 };

// Unknown, it sets no limit but the allocations' own.
qint64 physicalMemory()
{
    const long pages = sysconf(_SC_PHYS_PAGES);
    const long pageSize = sysconf(_SC_PAGESIZE);
    return pages > 0 && pageSize > 0 ? qint64(pages) * pageSize : std::numeric_limits<qint64>::max();
}

} // namespace

qint64 MemoryBudget::bytes()
{
    const qint64 chosen = chosenBytes;
    return chosen > 0 ? chosen : physicalMemory();
}

void MemoryBudget::setBytes(qint64 bytes) { chosenBytes = bytes; }

bool MemoryBudget::allows(qint64 pixels, int bytesPerPixel)
{
    qint64 total = 0;
    return pixels >= 0 && bytesPerPixel >= 0 && !qMulOverflow(pixels, qint64(bytesPerPixel), &total)
        && total <= bytes();
}
