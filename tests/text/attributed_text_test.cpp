#include "text/attributed_text.h"

#include <gtest/gtest.h>
