// The random generator's state. The plugin seeds it from the millisecond timer at load.
#include "misc/random.h"

namespace zorv {

uint32_t RandomState = 0;

}  // namespace zorv
