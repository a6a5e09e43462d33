# How scripts/setup builds the libraries that Debian does not offer for Windows programs: build_NAME FOLDER. To be sourced,
# after steps.sh and sources.sh.

cross_cmake()
{
    local source=$1 build=$2
    shift 2
    cmake -S "$source" -B "$build" -G Ninja -DCMAKE_TOOLCHAIN_FILE="$repo/cmake/mingw-w64.cmake" \
        -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX="$prefix" -DBUILD_SHARED_LIBS=OFF "$@"
    cmake --build "$build"
    cmake --install "$build"
}

build_poco()
{
    local work=$1 part off=()
    fetch_poco "$work"
    mkdir "$work/poco"
    tar -xf "$work"/poco_*.orig.tar.* -C "$work/poco" --strip-components=1
    # POCO spells these headers as Windows does; here the case of letters counts, for POCO and for whoever uses it.
    mkdir -p "$prefix/include"
    for part in Winsock2 Iphlpapi Windows; do
        ln -sf "/usr/share/mingw-w64/include/${part,}.h" "$prefix/include/$part.h"
    done
    for part in ACTIVERECORD ACTIVERECORD_COMPILER APACHECONNECTOR CPPPARSER CRYPTO DATA DATA_MYSQL DATA_ODBC \
                DATA_POSTGRESQL DATA_SQLITE ENCODINGS ENCODINGS_COMPILER JSON JWT MONGODB NET NETSSL NETSSL_WIN PAGECOMPILER \
                PAGECOMPILER_FILE2PAGE PDF POCODOC REDIS SEVENZIP TESTS UTIL ZIP; do
        off+=("-DENABLE_$part=OFF")
    done
    cross_cmake "$work/poco" "$work/build" -DENABLE_FOUNDATION=ON -DENABLE_XML=ON "${off[@]}" \
        -DCMAKE_PROJECT_Poco_INCLUDE="$repo/cmake/PocoParts.cmake" \
        -DCMAKE_C_FLAGS="-ffile-prefix-map=$work/=" \
        -DCMAKE_CXX_FLAGS="-ffile-prefix-map=$work/= -I$prefix/include"
}

build_googletest()
{
    local work=$1
    cross_cmake /usr/src/googletest "$work/build" -DCMAKE_CXX_FLAGS="-ffile-prefix-map=$work/="
}

build_benchmark()
{
    local work=$1
    fetch_source "$work" benchmark libbenchmark-dev
    mkdir "$work/benchmark"
    tar -xf "$work"/benchmark_*.orig.tar.* -C "$work/benchmark" --strip-components=1
    cross_cmake "$work/benchmark" "$work/build" -DBENCHMARK_ENABLE_TESTING=OFF -DBENCHMARK_ENABLE_GTEST_TESTS=OFF \
        -DCMAKE_CXX_FLAGS="-ffile-prefix-map=$work/= -DBENCHMARK_STATIC_DEFINE"
}
