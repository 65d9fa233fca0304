/*
 * Demo firmware for the simulated target: a busy main loop that keeps a set of typical globals moving,
 * so that every kind of watched value changes at sampling periods from 10 us to 1 s.
 */

#include <stdint.h>

#define MTIME_LO (*(volatile unsigned int*)0x0200bff8u) /* CLINT timer, 10 MHz on QEMU virt */
#define MTIME_HI (*(volatile unsigned int*)0x0200bffcu)
#define TICKS_PER_US 10u

#define PI_F 3.14159265f
#define SINE_PERIOD_US 2000000u /* slow enough to follow at 1 s, smooth at 10 us */

struct motor_state {
    int rpm;
    float current;
};

volatile unsigned int loop_counter;
volatile float sine_wave;
volatile int amplitude = 1000; /* the host changes this one */
volatile int follower;         /* amplitude * sine_wave, recomputed every pass */
volatile short temperature = 250;
volatile unsigned char status_bits;
volatile struct motor_state motor;
volatile int samples[4];
volatile unsigned long long uptime_us;
volatile double ratio;

/* 64-bit values: two settings only the host writes, and a counter that crosses 2^32 every second. A 32-bit
 * core stores each in two words, so a debugger may catch one half-written. */
volatile int64_t trim_offset = -5000000000LL;
volatile double set_point = 1.5;
volatile uint64_t wide_counter;

/* Packed 1- and 2-byte settings between guards the firmware never touches: a write of the wrong width
 * into one of them shows in its neighbours. */
struct __attribute__((packed)) packed_settings {
    unsigned char guard_low;
    signed char trim;
    short level;
    unsigned char guard_high;
    unsigned short guard_wide;
};
volatile struct packed_settings settings = {0x5a, -1, 100, 0xa5, 0xbeef};

/* The 64-bit timer is read as two halves; re-read when the high half moved in between. */
static unsigned long long read_mtime(void) {
    unsigned int hi, lo;
    do {
        hi = MTIME_HI;
        lo = MTIME_LO;
    } while (hi != MTIME_HI);
    return ((unsigned long long)hi << 32) | lo;
}

/* No libm here: odd polynomial on [-pi/2, pi/2], error below 1e-6. */
static float sine(float x) {
    while (x > PI_F)
        x -= 2.0f * PI_F;
    while (x < -PI_F)
        x += 2.0f * PI_F;
    if (x > PI_F / 2.0f)
        x = PI_F - x;
    else if (x < -PI_F / 2.0f)
        x = -PI_F - x;
    const float x2 = x * x;
    return x * (1.0f + x2 * (-1.0f / 6.0f + x2 * (1.0f / 120.0f + x2 * (-1.0f / 5040.0f + x2 / 362880.0f))));
}

/* Triangle wave 0..peak..0 over period_us, for values that move faster than the sine. */
static int triangle(unsigned long long t_us, unsigned int period_us, int peak) {
    const unsigned int phase = (unsigned int)(t_us % period_us);
    const unsigned int half = period_us / 2u;
    const unsigned int up = phase < half ? phase : period_us - phase;
    return (int)((unsigned long long)up * (unsigned int)peak / half);
}

int main(void) {
    const unsigned long long start = read_mtime();
    for (;;) {
        const unsigned long long now_us = (read_mtime() - start) / TICKS_PER_US;
        uptime_us = now_us;
        wide_counter = 0xFFFFFFFFull - 499999u + now_us % 1000000u; /* 2^32 half a second into each second */
        loop_counter = loop_counter + 1u;

        const float phase = 2.0f * PI_F * (float)(now_us % SINE_PERIOD_US) / (float)SINE_PERIOD_US;
        const float s = sine(phase);
        sine_wave = s;
        const int amp = amplitude;
        follower = (int)((float)amp * s);
        ratio = amp != 0 ? (double)follower / (double)amp : 0.0;

        temperature = (short)(250 + triangle(now_us, 10000000u, 100)); /* 25.0..35.0 degC in 0.1 steps */
        motor.rpm = 1500 + triangle(now_us, 100000u, 500);
        motor.current = 0.5f + 0.25f * s;

        unsigned char bits = 0;
        if (s > 0.0f)
            bits |= 0x01u; /* positive half-wave */
        if ((now_us / 500000u) & 1u)
            bits |= 0x02u; /* 1 Hz heartbeat */
        if (amp != 1000)
            bits |= 0x80u; /* amplitude changed by the host */
        status_bits = bits;

        samples[loop_counter & 3u] = triangle(now_us, 1000u, 1000); /* 1 kHz, seen at 10 us sampling */
    }
}
