#!/usr/bin/env bash
# Rebuilds demo.elf. The built file is committed, so only firmware changes need the cross compiler.
set -euo pipefail
cd "$(dirname "$0")"
CC=${CC:-riscv64-unknown-elf-gcc}
"$CC" -march=rv32imafc -mabi=ilp32f -g -O1 -nostdlib -ffreestanding -fno-common \
    -Wall -Wextra -T link.ld -Wl,--gc-sections,--no-warn-rwx-segments -o demo.elf start.S demo.c -lgcc
echo "built $(pwd)/demo.elf"
