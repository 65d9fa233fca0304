#pragma once

// The tool bar and dialog icons under ":/images/". They live in a static library, whose resource
// registration the linker would drop unless something calls this; it is safe to call repeatedly.
void InitImageResources();
