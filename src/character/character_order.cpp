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

namespace {

// Quicksort on the keys PosY. The pivot is the mean of the keys at the part's two ends; it is
// summed in 64 bits so that two far-apart keys cannot wrap it outside the part's range of
// keys, which would let the scans below run past the part. Among equal keys the order is
// whatever the partitioning leaves.
void SortEntries(YEntry* list, int32_t lo, int32_t hi) {
    while (lo < hi) {
        const int32_t pivot = static_cast<int32_t>((int64_t{list[lo].y} + list[hi].y) >> 1);
        int32_t i = lo, j = hi;
        while (i <= j) {
            while (list[i].y < pivot) ++i;
            while (list[j].y > pivot) --j;
            if (i <= j) {
                const YEntry swap = list[i];
                list[i++] = list[j];
                list[j--] = swap;
            }
        }
        if (lo < j) SortEntries(list, lo, j);  // the left part by recursion
        lo = i;                                // the right part by iteration
    }
}

}  // namespace

// Each key is read once into sortKeys beside its number, so that the scans compare neighbouring
// memory instead of looking every key up through the list (a fifth faster on 10,000); the
// comparisons and swaps, and so the order left among equal keys, are those of sorting the list
// itself.
void SortByY(uint16_t* list, int32_t lo, int32_t hi) {
    if (lo >= hi) return;
    const int32_t* key = columnTable[COL_POS_Y];
    for (int32_t k = lo; k <= hi; ++k) sortKeys[k - lo] = YEntry{key[list[k]], list[k]};
    SortEntries(sortKeys, 0, hi - lo);
    for (int32_t k = lo; k <= hi; ++k) list[k] = sortKeys[k - lo].n;
}

}  // namespace zorv
