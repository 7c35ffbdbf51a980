// loaderProbe -- runs one function of the loader and prints the result, for loaderTest.cpp
//
//   open DIR         searches as SSL_Init() does; prints the paths of the pair, or "none"
//   open-setgid DIR  the same as a process that runs set-gid
//   init DIR         starts the layer and stops it again
//   egd DIR          starts the layer and calls a function
//   curl DIR         starts the layer, then opens libcurl and its dependencies
#include <cstdio>
#include <cstring>

#include <dlfcn.h>
#include <link.h>
#include <unistd.h>

#include <orvane/ssl.h>

#include "lib/misc/panicControl.h"
#include "lib/ssl/sslLoader.h"
#include "lib/ssl/sslThunks.h"

extern "C" int __wrap_RAND_egd(const char *path);

namespace {

const char *PathOf(void *library) {
    link_map *map = nullptr;
    return dlinfo(library, RTLD_DI_LINKMAP, &map) == 0 ? map->l_name : "?";
}

int Open(const char *directory) {
    SSLLibraryPair pair;
    if (SSLOpenLibraries(directory, true, &pair))
        printf("%s\n%s\n", PathOf(pair.crypto), PathOf(pair.ssl));
    else
        puts("none");
    return 0;
}

} // namespace

int main(int argc, char **argv) {
    if (argc != 3)
        return 2;
    const char *what = argv[1];
    const char *directory = argv[2];
    if (strcmp(what, "open") == 0)
        return Open(directory);
    if (strcmp(what, "open-setgid") == 0)
        return setegid(getegid() + 1) == 0 ? Open(directory) : 2;

    Panic_SetCoreDumpOnPanic(FALSE);
    SSL_Init(nullptr, directory, nullptr);
    if (strcmp(what, "egd") == 0)
        printf("%d\n", __wrap_RAND_egd("/nowhere"));
    if (strcmp(what, "curl") == 0 && dlopen("libcurl.so.4", RTLD_NOW | RTLD_GLOBAL) == nullptr)
        return 3;
    SSL_Exit();
    puts("done");
    return 0;
}
