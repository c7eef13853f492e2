# A program for users has a version, a man page made from its --help, and the bash completion of
# tools/completion. ABOUT describes it in one line.
#   cellwarden_program(NAME ABOUT SOURCE...)  a program that runs only from the build directory
#   cellwarden_tool(NAME ABOUT SOURCE...)     a program that is also installed
#   cellwarden_data(FOLDER)                   a folder of shipped data; common/installation.h finds it
find_program(HELP2MAN help2man)

function(cellwarden_program name about)
    add_executable(${name} ${ARGN})
    target_link_libraries(${name} PRIVATE cellwarden_flags)
    target_compile_definitions(${name} PRIVATE
        CELLWARDEN_TOOL_NAME="${name}"
        CELLWARDEN_TOOL_ABOUT="${about}"
        CELLWARDEN_TOOL_VERSION="${name} ${PROJECT_VERSION}")
    # As in the daemon, a static link makes the calls of the 128-bit float arithmetic direct.
    target_link_options(${name} PRIVATE -static-libgcc)
    set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR})

    # help2man runs the program, which a cross build may not be able to do.
    if(HELP2MAN AND NOT CMAKE_CROSSCOMPILING)
        set(page ${CMAKE_BINARY_DIR}/man/${name}.1)
        add_custom_command(OUTPUT ${page}
            COMMAND ${HELP2MAN} --no-info --section=1 --help-option=--help-all
                    --manual=cellwarden --name=${about} --output=${page} $<TARGET_FILE:${name}>
            DEPENDS ${name} VERBATIM)
        add_custom_target(${name}-man ALL DEPENDS ${page})
    endif()
endfunction()

function(cellwarden_tool name)
    cellwarden_program(${name} ${ARGN})
    install(TARGETS ${name} RUNTIME)
    install(FILES ${PROJECT_SOURCE_DIR}/tools/completion/cellwarden-tools.bash
        DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME ${name})
    if(TARGET ${name}-man)
        install(FILES ${CMAKE_BINARY_DIR}/man/${name}.1
            DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
    endif()
endfunction()

# Programs of the build directory find the folder through a link. A folder that does not exist is
# skipped.
function(cellwarden_data folder)
    if(NOT IS_DIRECTORY ${folder})
        return()
    endif()
    cmake_path(GET folder FILENAME name)
    file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/data)
    file(CREATE_LINK ${folder} ${CMAKE_BINARY_DIR}/data/${name} SYMBOLIC)
    install(DIRECTORY ${folder} DESTINATION ${CMAKE_INSTALL_DATADIR}/cellwarden
        FILES_MATCHING PATTERN "*.json" PATTERN "*.csv")
endfunction()
