# The part of the stand-in that reads foreign bytes, built for the machine itself. On Windows it is built by the usual way.
find_package(Poco REQUIRED COMPONENTS Foundation XML)
find_package(nlohmann_json REQUIRED)
find_package(Python3 REQUIRED COMPONENTS Interpreter)
include(TravikTest)

add_library(travik_test_support STATIC tests/support/native.cpp)
target_include_directories(travik_test_support PUBLIC tests/support)
target_link_libraries(travik_test_support PUBLIC GTest::gmock PRIVATE travik_warnings)

add_subdirectory(include)
foreach(part base images appliance settings)
    add_subdirectory(simulator/${part})
endforeach()
add_subdirectory(tests/fuzz)
