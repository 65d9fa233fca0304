/*
 * Start-up for one hart on QEMU virt. In M-mode: an Sv32 page table that shows the globals at 0x20000000
 * (as on the microcontrollers this target stands in for) while the code stays where it was loaded, then
 * a drop to S-mode. In S-mode: gp, stack, .bss cleared, then main().
 */

/* PTE bits. A and D are set up front: the emulator may fault on a first access otherwise. */
#define PTE_V (1 << 0)
#define PTE_R (1 << 1)
#define PTE_W (1 << 2)
#define PTE_X (1 << 3)
#define PTE_A (1 << 6)
#define PTE_D (1 << 7)
#define PTE_CODE (PTE_V | PTE_R | PTE_W | PTE_X | PTE_A | PTE_D)
#define PTE_DATA (PTE_V | PTE_R | PTE_W | PTE_A | PTE_D)

#define CLINT_BASE 0x02000000 /* mtime is read at 0x0200bff8 */
#define SATP_SV32 (1 << 31)
#define MSTATUS_MPP_MASK (3 << 11)
#define MSTATUS_MPP_S (1 << 11)
#define MSTATUS_FS_INITIAL (1 << 13) /* hard-float code faults while FS is Off */
#define PMP_TOR_RWX 0x0f

/* Absolute address of a symbol or constant, whatever the distance from the pc. */
.macro load_abs reg, value
    lui     \reg, %hi(\value)
    addi    \reg, \reg, %lo(\value)
.endm

/* One 4 MiB megapage in the root table at t0: VA va -> PA pa (both 4 MiB-aligned). */
.macro megapage va, pa, flags
    load_abs t1, \va
    srli    t1, t1, 22          /* VPN[1] */
    slli    t1, t1, 2
    add     t1, t1, t0
    load_abs t2, \pa
    srli    t2, t2, 2           /* PPN << 10, as PA is 4 MiB-aligned */
    ori     t2, t2, \flags
    sw      t2, 0(t1)
.endm

    .section .text.start, "ax"
    .globl _start
_start:
    /* Any trap, from either mode, parks the hart in M-mode instead of running wild (medeleg stays 0). */
    la      t0, trap_park
    csrw    mtvec, t0

    /* The root table lies in the code megapage, so its physical address is its link address. */
    la      t0, __page_table
    mv      t1, t0
    li      t2, 4096
    add     t2, t2, t0
1:  sw      zero, 0(t1)
    addi    t1, t1, 4
    bltu    t1, t2, 1b
    megapage __code_window, __code_window, PTE_CODE
    megapage __data_window, __data_window_pa, PTE_DATA
    megapage CLINT_BASE, CLINT_BASE, PTE_DATA

    /* Without a PMP entry S-mode may touch nothing: allow all of the address space. */
    li      t1, -1
    csrw    pmpaddr0, t1
    li      t1, PMP_TOR_RWX
    csrw    pmpcfg0, t1

    srli    t1, t0, 12
    li      t2, SATP_SV32
    or      t1, t1, t2
    csrw    satp, t1
    sfence.vma

    li      t1, MSTATUS_MPP_MASK
    csrc    mstatus, t1
    li      t1, MSTATUS_MPP_S | MSTATUS_FS_INITIAL
    csrs    mstatus, t1
    csrwi   fcsr, 0

    la      t1, supervisor_entry
    csrw    mepc, t1
    mret

supervisor_entry:
    .option push
    .option norelax
    la      gp, __global_pointer$
    .option pop
    la      sp, __stack_top

    la      t0, __bss_start
    la      t1, __bss_end
2:  bgeu    t0, t1, 3f
    sw      zero, 0(t0)
    addi    t0, t0, 4
    j       2b
3:
    call    main

    .align 2
trap_park:
    wfi
    j       trap_park
