#!/usr/bin/env bash
# Rebuilds demo.elf and demo-high.elf (the same program with its globals above 0x7FFFFFFF). The built
# files are committed, so only firmware changes need the cross compiler.
set -euo pipefail
cd "$(dirname "$0")"
CC=${CC:-riscv64-unknown-elf-gcc}
"$CC" -march=rv32imafc -mabi=ilp32f -g -O1 -nostdlib -ffreestanding -fno-common \
    -Wall -Wextra -T link.ld -Wl,--gc-sections,--no-warn-rwx-segments -o demo.elf start.S demo.c -lgcc
"$CC" -march=rv32imafc -mabi=ilp32f -g -O1 -nostdlib -ffreestanding -fno-common \
    -Wall -Wextra -T link-high.ld -Wl,--gc-sections,--no-warn-rwx-segments -o demo-high.elf start.S demo.c -lgcc
echo "built $(pwd)/demo.elf and $(pwd)/demo-high.elf"
