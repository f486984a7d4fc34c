#include "ombrix/version.h"

const char* ombrixVersion() { return OMBRIX_VERSION; }
