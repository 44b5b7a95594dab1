#include "text/charsets.h"
