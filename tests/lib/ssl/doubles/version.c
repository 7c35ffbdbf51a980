/* As much of a libcrypto as the version check needs. */
unsigned long SSLeay(void);

unsigned long SSLeay(void) {
    return VERSION_NUMBER;
}
