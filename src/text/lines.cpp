#include "text/lines.h"
