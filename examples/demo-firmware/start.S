/* Start-up for one hart on QEMU virt: stack, FPU on, .bss cleared, then main(). */
    .section .text.start, "ax"
    .globl _start
_start:
    .option push
    .option norelax
    la      gp, __global_pointer$
    .option pop
    la      sp, __stack_top

    /* Any trap parks the hart instead of running wild. */
    la      t0, trap_park
    csrw    mtvec, t0

    /* Hard-float code faults until mstatus.FS leaves the Off state. */
    li      t0, (1 << 13)
    csrs    mstatus, t0
    csrwi   fcsr, 0

    la      t0, __bss_start
    la      t1, __bss_end
1:  bgeu    t0, t1, 2f
    sw      zero, 0(t0)
    addi    t0, t0, 4
    j       1b
2:
    call    main
trap_park:
    wfi
    j       trap_park
