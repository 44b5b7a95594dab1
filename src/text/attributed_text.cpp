#include "text/attributed_text.h"
