#include "text/search.h"
