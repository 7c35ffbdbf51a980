/* A function of a shared object that is linked: what a thunk's target costs to call without the thunk. */
unsigned long DirectTarget(void);

__attribute__((visibility("default"))) unsigned long DirectTarget(void) {
    return 0x100021ff;
}
