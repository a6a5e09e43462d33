# The samples, built with nothing but this package: cmake -S samples -B build
cmake_minimum_required(VERSION 3.21)
project(TravikSamples LANGUAGES CXX)

list(PREPEND CMAKE_PREFIX_PATH ${CMAKE_CURRENT_SOURCE_DIR}/..)
find_package(TravikSDK REQUIRED)

file(GLOB sources ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp)
foreach(source IN LISTS sources)
    cmake_path(GET source STEM sample)
    add_executable(${sample} ${source})
    target_link_libraries(${sample} PRIVATE TravikSDK::helper)
    target_link_options(${sample} PRIVATE -static -municode)
    add_custom_command(TARGET ${sample} POST_BUILD
        COMMAND ${CMAKE_COMMAND} -E copy_if_different $<TARGET_RUNTIME_DLLS:${sample}> $<TARGET_FILE_DIR:${sample}>
        COMMAND_EXPAND_LISTS)
endforeach()
