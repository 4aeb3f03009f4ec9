// The drawing decisions that need no surface: the blink counter and the Y order of drawing.
#include "character/character.h"
#include "chip/chip.h"

namespace zorv {

bool BlinkShows(int32_t& blink) {
    if (blink == 0) return true;
    if (blink == 65535) {
        blink = 65534;
        return true;
    }
    if (blink == 65534 || blink > 65535) {
        blink = 65535;
        return false;
    }
    // 1 ... 65533 or negative: count down, drawn on even counts.
    blink = WrapSub(blink, 1);
    return (blink & 1) == 0;
}

// Quicksort on the keys PosY. The pivot is the mean of the keys at the part's two ends; it is
// summed in 64 bits so that two far-apart keys cannot wrap it outside the part's range of
// keys, which would let the scans below run past the part. Among equal keys the order is
// whatever the partitioning leaves.
void SortByY(uint16_t* list, int32_t lo, int32_t hi) {
    const int32_t* key = columnTable[COL_POS_Y];
    while (lo < hi) {
        const int32_t pivot = static_cast<int32_t>((int64_t{key[list[lo]]} + key[list[hi]]) >> 1);
        int32_t i = lo, j = hi;
        while (i <= j) {
            while (key[list[i]] < pivot) ++i;
            while (key[list[j]] > pivot) --j;
            if (i <= j) {
                const uint16_t swap = list[i];
                list[i++] = list[j];
                list[j--] = swap;
            }
        }
        if (lo < j) SortByY(list, lo, j);  // the left part by recursion
        lo = i;                            // the right part by iteration
    }
}

}  // namespace zorv
