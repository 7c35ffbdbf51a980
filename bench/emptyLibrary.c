/* What loading any shared object costs: the peer of libraryBench. */
int orvane_empty_library(void);

int orvane_empty_library(void) {
    return 0;
}
