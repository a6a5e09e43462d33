# What `cmake --install` lays out, and scripts/package packs: bin, lib with the CMake package, include, docs, samples.
include(CMakePackageConfigHelpers)

install(TARGETS travik_sdk RUNTIME DESTINATION bin ARCHIVE DESTINATION lib)
foreach(target travikctl vboxsim vboxsim-svc vboxsim-session vboxsim-ps)
    if(TARGET ${target})
        install(TARGETS ${target} RUNTIME DESTINATION bin)
    endif()
endforeach()

install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/travik DESTINATION include FILES_MATCHING PATTERN *.h)
install(FILES README.md CHANGELOG.md CONTRIBUTING.md DESTINATION .)
install(DIRECTORY docs/ DESTINATION docs FILES_MATCHING PATTERN *.md PATTERN *.svg)
install(DIRECTORY samples/ DESTINATION samples FILES_MATCHING PATTERN *.cpp PATTERN *.h)
install(FILES cmake/PackagedSamples.cmake DESTINATION samples RENAME CMakeLists.txt)
foreach(folder simulator/fixtures simulator/scenarios)
    if(IS_DIRECTORY ${PROJECT_SOURCE_DIR}/${folder})
        install(DIRECTORY ${folder} DESTINATION share/vboxsim)
    endif()
endforeach()

set(TRAVIK_DLL_NAME TravikSDK-selq6${CMAKE_SHARED_LIBRARY_SUFFIX})
set(TRAVIK_IMPLIB_NAME TravikSDK-selq6${CMAKE_IMPORT_LIBRARY_SUFFIX})
set(package ${CMAKE_CURRENT_BINARY_DIR}/package)
configure_package_config_file(cmake/TravikSDKConfig.cmake.in ${package}/TravikSDKConfig.cmake
    INSTALL_DESTINATION lib/cmake/TravikSDK NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(${package}/TravikSDKConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${package}/TravikSDKConfig.cmake ${package}/TravikSDKConfigVersion.cmake DESTINATION lib/cmake/TravikSDK)
