# An interface target with the flags of all targets: warnings as errors, the hardening of vendor
# daemons, and the sanitizers if selected.
add_library(cellwarden_flags INTERFACE)

# A product is rounded before an addition, so that the ageing sums are the same on every machine.
target_compile_options(cellwarden_flags INTERFACE -ffp-contract=off)

# Builds in two folders have the same bytes, because no output contains a path of this machine.
target_compile_options(cellwarden_flags INTERFACE
    -ffile-prefix-map=${PROJECT_SOURCE_DIR}=. -ffile-prefix-map=${PROJECT_BINARY_DIR}=build)

target_compile_options(cellwarden_flags INTERFACE
    -Wall -Wextra -Werror -Wconversion -Wsign-conversion -Wshadow)

if(CELLWARDEN_SANITIZE STREQUAL address)
    target_compile_options(cellwarden_flags INTERFACE
        -fsanitize=address,undefined,float-cast-overflow -fno-sanitize-recover=all -fno-omit-frame-pointer)
    target_link_options(cellwarden_flags INTERFACE -fsanitize=address,undefined,float-cast-overflow)
    # std::array and the containers check their indices.
    target_compile_definitions(cellwarden_flags INTERFACE _GLIBCXX_ASSERTIONS)
else()
    target_compile_options(cellwarden_flags INTERFACE
        -fstack-protector-strong -fstack-clash-protection -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2)
    if(CMAKE_SYSTEM_PROCESSOR STREQUAL x86_64)
        target_compile_options(cellwarden_flags INTERFACE -fcf-protection)
    elseif(CMAKE_SYSTEM_PROCESSOR STREQUAL aarch64)
        target_compile_options(cellwarden_flags INTERFACE -mbranch-protection=standard)
    endif()
    target_link_options(cellwarden_flags INTERFACE -Wl,-z,relro,-z,now,-z,noexecstack)
endif()
if(CELLWARDEN_SANITIZE STREQUAL integer)
    # Checks overflow of all integers and implicit conversions that change a value; the code marks
    # intended ones with state/wrapping.h or a cast.
    target_compile_options(cellwarden_flags INTERFACE
        -fsanitize=integer -fno-sanitize-recover=all -fno-omit-frame-pointer
        -fsanitize-ignorelist=${CMAKE_CURRENT_LIST_DIR}/integer_ignorelist.txt)
    target_link_options(cellwarden_flags INTERFACE -fsanitize=integer)
endif()
if(CELLWARDEN_FUZZ)  # shows libFuzzer which code an input reaches
    target_compile_options(cellwarden_flags INTERFACE -fsanitize=fuzzer-no-link)
    target_link_options(cellwarden_flags INTERFACE -fsanitize=fuzzer-no-link)
endif()
target_link_options(cellwarden_flags INTERFACE $<$<STREQUAL:$<TARGET_PROPERTY:TYPE>,EXECUTABLE>:-pie> -Wl,--as-needed)

# For tests and for programs that wait for files and people: compiling them fast counts for more than
# their speed.
add_library(cellwarden_desk_flags INTERFACE)
target_link_libraries(cellwarden_desk_flags INTERFACE cellwarden_flags)
target_compile_options(cellwarden_desk_flags INTERFACE "$<$<CONFIG:RelWithDebInfo>:-O1;-g1>")

# For what tests run over simulated years: the sanitized build is slow without any optimisation.
add_library(cellwarden_simulation_flags INTERFACE)
target_compile_options(cellwarden_simulation_flags INTERFACE $<$<CONFIG:Debug>:-O1>)
