# What every target of the house has in common is said here, once.

# Flags that are ours alone: they never reach a program that links the installed library.
add_library(lantern_build_flags INTERFACE)
target_compile_options(lantern_build_flags INTERFACE
    -Wall -Wextra -Wshadow -Wconversion -Werror)
# Nobody replaces single functions of a static library, so they may be inlined although the code can be moved.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    target_compile_options(lantern_build_flags INTERFACE -fno-semantic-interposition)
endif()
if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|AMD64" AND LANTERN_MARCH)
    target_compile_options(lantern_build_flags INTERFACE -march=${LANTERN_MARCH})
endif()
if(LANTERN_SANITIZE)
    target_compile_options(lantern_build_flags INTERFACE
        -fsanitize=${LANTERN_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer
        -fno-sanitize=vptr) # it opens a pipe to look at memory, and so takes a full descriptor table for a fault
    # g++ takes what the instrumentation adds inside the standard library for uninitialised variables.
    target_compile_options(lantern_build_flags INTERFACE $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
    target_link_options(lantern_build_flags INTERFACE -fsanitize=${LANTERN_SANITIZE})
endif()

# lantern_program(TARGET): warnings and the include root for a program, a test or a benchmark.
function(lantern_program target)
    target_link_libraries(${target} PRIVATE lantern_build_flags)
    target_include_directories(${target} PRIVATE ${PROJECT_SOURCE_DIR})
endfunction()

# lantern_component(lantern_NAME): the same for a library of the house, and in addition its alias lantern::NAME,
# its place in the installed package, and the installation of its folder's headers.
function(lantern_component target)
    string(REGEX REPLACE "^lantern_" "" name ${target})
    add_library(lantern::${name} ALIAS ${target})
    set_target_properties(${target} PROPERTIES EXPORT_NAME ${name})
    get_target_property(type ${target} TYPE)
    if(type STREQUAL "INTERFACE_LIBRARY")
        set(scope INTERFACE)
    else()
        set(scope PUBLIC)
        target_link_libraries(${target} PRIVATE $<BUILD_INTERFACE:lantern_build_flags>)
        set_property(GLOBAL APPEND PROPERTY LANTERN_ARCHIVES ${target}) # lowest floor first, for lantern.pc
    endif()
    target_include_directories(${target} ${scope}
        $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>
        $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/lantern>)
    target_compile_features(${target} ${scope} cxx_std_17)
    install(TARGETS ${target} EXPORT lanternTargets ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
    file(RELATIVE_PATH folder ${PROJECT_SOURCE_DIR} ${CMAKE_CURRENT_SOURCE_DIR})
    file(GLOB headers CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.h)
    install(FILES ${headers} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/lantern/${folder})
endfunction()
