# What `cmake --install` lays out, and scripts/package packs: bin, lib with the CMake package, include, docs, samples.
include(CMakePackageConfigHelpers)

# travik_describe(target "What it is" [PROGRAM]): a version resource; for a program also the manifest.
function(travik_describe target description)
    get_target_property(type ${target} TYPE)
    set(file_type VFT_DLL)
    set(manifest "")
    set(suffix .dll)
    if(type STREQUAL EXECUTABLE)
        set(file_type VFT_APP)
        set(suffix .exe)
        set(manifest "1 24 \"${PROJECT_SOURCE_DIR}/cmake/program.manifest\"")
        if(MSVC) # its linker has one of its own
            set(manifest "")
            target_sources(${target} PRIVATE ${PROJECT_SOURCE_DIR}/cmake/program.manifest)
        endif()
    endif()
    set(resource ${PROJECT_BINARY_DIR}/resources/${target}.rc)
    configure_file(${PROJECT_SOURCE_DIR}/cmake/resource.rc.in ${resource} @ONLY)
    target_sources(${target} PRIVATE ${resource})
    set_property(SOURCE ${resource} TARGET_DIRECTORY ${target} PROPERTY
        OBJECT_DEPENDS ${PROJECT_SOURCE_DIR}/cmake/program.manifest)
endfunction()

if(TARGET travikctl)
    travik_describe(travikctl "Command line of TravikSDK")
endif()
if(TARGET vboxsim)
    travik_describe(vboxsim "Command line of the stand-in VirtualBox")
    travik_describe(vboxsim-svc "Server of the stand-in VirtualBox")
    travik_describe(vboxsim-session "Session class of the stand-in VirtualBox")
    travik_describe(vboxsim-ps "Proxies of the stand-in VirtualBox")
endif()

install(TARGETS travik_sdk RUNTIME DESTINATION bin ARCHIVE DESTINATION lib)
foreach(target travikctl vboxsim vboxsim-svc vboxsim-session vboxsim-ps)
    if(TARGET ${target})
        install(TARGETS ${target} RUNTIME DESTINATION bin)
    endif()
endforeach()

install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/travik DESTINATION include FILES_MATCHING PATTERN *.h)
install(FILES ${PROJECT_BINARY_DIR}/include/travik/version.h DESTINATION include/travik)
install(FILES package/README.md CHANGELOG.md LICENSE.txt DESTINATION .)
install(DIRECTORY docs/ DESTINATION docs FILES_MATCHING PATTERN *.md PATTERN *.svg
    PATTERN architecture.md EXCLUDE) # for contributors, as CONTRIBUTING.md is
install(FILES tools/travikctl/travikctl.schema.json DESTINATION share/travikctl)
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
