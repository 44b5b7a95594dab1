#include "text/search.h"

#include <gtest/gtest.h>
