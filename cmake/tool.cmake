# A program for people comes with its version, its man page, made from its own --help, and the bash
# completion of tools/completion. ABOUT says in one line what it does.
#   cellwarden_program(NAME ABOUT SOURCE...)  one that runs from the build alone
#   cellwarden_tool(NAME ABOUT SOURCE...)     one that is installed too
find_program(HELP2MAN help2man)

function(cellwarden_program name about)
    add_executable(${name} ${ARGN})
    target_link_libraries(${name} PRIVATE cellwarden_flags)
    target_compile_definitions(${name} PRIVATE
        CELLWARDEN_TOOL_NAME="${name}"
        CELLWARDEN_TOOL_ABOUT="${about}"
        CELLWARDEN_TOOL_VERSION="${name} ${PROJECT_VERSION}")
    # As the daemon: the 128-bit float arithmetic is called directly.
    target_link_options(${name} PRIVATE -static-libgcc)
    set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR})

    # The program runs to print its help, which a cross build cannot count on.
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
