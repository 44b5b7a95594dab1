#include "text/attributes.h"
