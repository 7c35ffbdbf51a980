# What an application developer finds after installing: libraries, headers, pkg-config, CMake package.
