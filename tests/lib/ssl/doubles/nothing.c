/* A library without anything of its own; the linker may add names. */
typedef int NothingAtAll;
