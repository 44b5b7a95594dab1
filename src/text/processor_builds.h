// SPDX-License-Identifier: MIT
// Functions built twice on x86-64, for the baseline processor and for AVX2, with the build that the
// processor runs chosen when the program starts; one build everywhere else. Their loops go over
// vectors of the compiler's portable vector extension 32 bytes wide, one register with AVX2, two
// without. What such a function calls must be inlined into it to be built for AVX2 too, and must
// pass no vectors, whose passing would differ between the builds:
//
//   TEXTRIX_ALSO_FOR_AVX2 std::size_t countFeeds(std::u16string_view text);
#pragma once

#if defined(__x86_64__)
#define TEXTRIX_ALSO_FOR_AVX2 __attribute__((target_clones("avx2", "default")))
#else
#define TEXTRIX_ALSO_FOR_AVX2
#endif
