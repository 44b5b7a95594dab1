#include "text/lines.h"

#include <gtest/gtest.h>
