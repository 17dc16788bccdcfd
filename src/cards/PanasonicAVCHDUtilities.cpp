#include "cards/PanasonicAVCHDUtilities.h"

namespace ferrydeck {

} // namespace ferrydeck
