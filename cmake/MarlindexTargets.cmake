# Shared settings for every Marlindex target: warnings on, one place to change them.
function(marlindex_warnings target)
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wconversion
                                             -Wsign-conversion -Wnon-virtual-dtor -Wold-style-cast)
    # GCC 12 warns falsely about std::string's operator+ when optimising (GCC bug 105651).
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
        target_compile_options(${target} PRIVATE -Wno-restrict)
    endif()
    if(MARLINDEX_WERROR)
        target_compile_options(${target} PRIVATE -Werror)
    endif()
endfunction()

# marlindex_library(name SOURCES ... DEPENDS ...): a core library of one src/ folder.
function(marlindex_library name)
    cmake_parse_arguments(ARG "" "" "SOURCES;DEPENDS" ${ARGN})
    add_library(${name} STATIC ${ARG_SOURCES})
    target_include_directories(${name} PUBLIC "${PROJECT_SOURCE_DIR}/src")
    target_link_libraries(${name} PUBLIC ${ARG_DEPENDS})
    marlindex_warnings(${name})
endfunction()

# marlindex_test(name SOURCES ... DEPENDS ... [FIXTURE name]): one GoogleTest executable beside
# its library. In the Windows build every test runs under Wine (the crossing emulator) and
# needs the fixture WinePrefix, the fresh prefix of this test run. FIXTURE names another one
# fixture its tests need instead (a server registered in the prefix, say), whose setup test
# itself requires WinePrefix, so the prefix is made first; the tests of such a fixture run one
# at a time.
function(marlindex_test name)
    cmake_parse_arguments(ARG "" "FIXTURE" "SOURCES;DEPENDS" ${ARGN})
    add_executable(${name} ${ARG_SOURCES})
    target_link_libraries(${name} PRIVATE ${ARG_DEPENDS} GTest::gtest GTest::gtest_main)
    target_include_directories(${name} PRIVATE "${PROJECT_SOURCE_DIR}/tests")
    marlindex_warnings(${name})
    set(fixture ${ARG_FIXTURE})
    if(NOT fixture AND MARLINDEX_UNDER_WINE)
        set(fixture WinePrefix)
    endif()
    set(properties ENVIRONMENT "MARLINDEX_SOURCE_DIR=${PROJECT_SOURCE_DIR}")
    if(fixture)
        # One name only: gtest_discover_tests cannot pass a list in a property.
        list(APPEND properties FIXTURES_REQUIRED ${fixture})
    endif()
    if(ARG_FIXTURE)
        # A server registered in the prefix is one per prefix: its tests take turns with it.
        list(APPEND properties RESOURCE_LOCK ${ARG_FIXTURE})
    endif()
    include(GoogleTest)
    # Under Wine the listing may be the first Windows program, which makes the prefix first.
    gtest_discover_tests(${name} DISCOVERY_TIMEOUT 120 PROPERTIES ${properties})
endfunction()

# marlindex_windows_test(name SOURCES ... DEPENDS ... [FIXTURE name]): a test executable of the
# Windows build only, for what exists only there (the registry, Wine's own tools).
function(marlindex_windows_test name)
    if(WIN32)
        marlindex_test(${name} ${ARGN})
    endif()
endfunction()

# marlindex_folder_library(name DEPENDS ...): the core library of one src/ folder, built from
# its *.cpp files. Forms (frm*.cpp) include Qt Widgets: they are collected for the GUI instead.
# Files that implement a platform interface (*Win32*, *X11*) join only on their platform.
function(marlindex_folder_library name)
    cmake_parse_arguments(ARG "" "" "DEPENDS" ${ARGN})
    file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp)
    file(GLOB forms CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/frm*.cpp)
    # The headers too: AUTOMOC then sees every Q_OBJECT form, also one added to a build
    # folder configured before it existed.
    file(GLOB form_headers CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/frm*.h)
    if(forms)
        list(REMOVE_ITEM sources ${forms})
        set_property(GLOBAL APPEND PROPERTY MARLINDEX_FORM_SOURCES ${forms} ${form_headers})
    endif()
    if(NOT WIN32)
        list(FILTER sources EXCLUDE REGEX "Win32[^/]*$")
    endif()
    if(WIN32 OR APPLE)
        list(FILTER sources EXCLUDE REGEX "X11[^/]*$")
    endif()
    marlindex_library(${name} SOURCES ${sources} DEPENDS ${ARG_DEPENDS})
endfunction()

# marlindex_qt_test(name SOURCES ... DEPENDS ...): a QtTest executable that clicks real widgets,
# run on the offscreen platform so it needs no display.
function(marlindex_qt_test name)
    cmake_parse_arguments(ARG "" "" "SOURCES;DEPENDS" ${ARGN})
    add_executable(${name} ${ARG_SOURCES})
    set_target_properties(${name} PROPERTIES AUTOMOC ON)
    target_link_libraries(${name} PRIVATE ${ARG_DEPENDS} Qt6::Test)
    target_include_directories(${name} PRIVATE "${PROJECT_SOURCE_DIR}/tests")
    marlindex_warnings(${name})
    add_test(NAME ${name} COMMAND ${name})
    set_tests_properties(${name} PROPERTIES ENVIRONMENT
        "QT_QPA_PLATFORM=offscreen;MARLINDEX_SOURCE_DIR=${PROJECT_SOURCE_DIR}")
endfunction()
