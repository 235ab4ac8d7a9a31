/* HEADER twice, and nothing before it: it brings what it needs and guards against itself. C11 and C++17. */
#include HEADER
#include HEADER

extern int alone; /* a file without a declaration is not ISO C */
