// SPDX-License-Identifier: Apache-2.0
// Start-up, exceptions and the switch between tasks. Everything runs in supervisor mode; an interrupt is taken on
// the stack of the task that it meets for its registers, and on a stack of its own for the rest.
    .syntax unified
    .arm

    .section .vectors, "ax"
    .balign 32
boardVectors:
    b boardEntry
    b undefinedEntry
    b boardVectors              // no system calls
    b prefetchEntry
    b dataEntry
    b boardVectors
    b interruptEntry
    b cutEntry

    .text
// Where the power comes on, and where a power cut leads.
    .global boardEntry
    .type boardEntry, %function
boardEntry:
    cpsid aif
    mrc p15, 0, r0, c1, c0, 0   // the tables are about to be made anew: memory unit off
    bic r0, r0, #1
    mcr p15, 0, r0, c1, c0, 0
    isb
    mcr p15, 0, r0, c8, c7, 0   // and nothing remembered of them
    ldr r0, =boardVectors
    mcr p15, 0, r0, c12, c0, 0
    cps #0x17                   // aborts
    ldr sp, =faultStackTop
    cps #0x1b                   // undefined instructions
    ldr sp, =faultStackTop
    cps #0x11                   // power cuts
    ldr sp, =cutStackTop
    cps #0x13
    ldr sp, =bootStackTop

    ldr r0, =boardDataBegin
    ldr r1, =boardDataEnd
    ldr r2, =boardDataImage
1:  cmp r0, r1
    ldrlo r3, [r2], #4
    strlo r3, [r0], #4
    blo 1b
    ldr r0, =boardZeroBegin
    ldr r1, =boardZeroEnd
    mov r2, #0
2:  cmp r0, r1
    strlo r2, [r0], #4
    blo 2b
    bl boardMain
    b .

// Faults: where, what address, and which kind. The handler does not return.
undefinedEntry:
    sub r0, lr, #4
    mov r1, #0
    mov r2, #2
    bl boardFault
prefetchEntry:
    sub r0, lr, #4
    mov r1, r0
    mov r2, #1
    bl boardFault
dataEntry:
    sub r0, lr, #8
    mrc p15, 0, r1, c6, c0, 0
    mov r2, #0
    bl boardFault

interruptEntry:
    sub lr, lr, #4
    srsdb sp!, #0x13
    cps #0x13
    push {r0-r4, r12, lr}
    mov r4, sp
    ldr sp, =interruptStackTop
    bl boardInterrupt
    bic sp, r4, #7              // it may have met any instruction
    bl boardDispatch
    mov sp, r4
    pop {r0-r4, r12, lr}
    clrex
    rfeia sp!

// The power goes: nothing is saved.
cutEntry:
    bl boardPowerCut

// void boardSwitch(uintptr_t *from, uintptr_t to): saves this task's stack pointer, goes on with another's.
    .global boardSwitch
    .type boardSwitch, %function
boardSwitch:
    push {r4-r11, lr}
    str sp, [r0]
    mov sp, r1
    pop {r4-r11, pc}

// int boardHostCall(int operation, const void *arguments): a service of the emulator's host.
    .global boardHostCall
    .type boardHostCall, %function
boardHostCall:
    push {r4, lr}
    svc 0x123456
    pop {r4, pc}

    .bss
    .balign 8
    .space 4096
faultStackTop:
    .space 1024
cutStackTop:
    .space 2048
interruptStackTop:
    .space 8192
bootStackTop:
