#ifndef PAINTBANDS_H
#define PAINTBANDS_H

#include <cstddef>

// Spreading the rows of a picture over the calling thread and one helper thread
// that is kept for the purpose, so that the second core costs a wake-up, not a
// thread start.
namespace mpxpaint {

// Called with a band of rows [first, end) on either thread.
using BandFn = void (*)(void* context, unsigned int first, unsigned int end);

// Runs fn over the rows [0, rows) in bands of bandRows. The helper takes bands
// from the same counter as the caller as soon as it wakes, so that a helper that
// the system does not schedule in time costs the caller nothing but the wake-up.
// Returns when every band is painted and the helper has let go of the job. With
// the helper busy with another caller, the caller paints alone.
void runBands(unsigned int rows, unsigned int bandRows, BandFn fn, void* context);

// Both threads clear the upper halves of the vector registers before their first band.
template <typename RowsFn>
void runBands(unsigned int rows, unsigned int bandRows, RowsFn& rowsFn)
{
    runBands(
        rows, bandRows,
        [](void* context, unsigned int first, unsigned int end) {
            (*static_cast<RowsFn*>(context))(first, end);
        },
        &rowsFn);
}

} // namespace mpxpaint

#endif // PAINTBANDS_H
