# Warnings, sanitizers and floating-point rules that every target of the project is built with.
add_library(velorix_flags INTERFACE)
target_compile_options(velorix_flags INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wno-sign-conversion
    # GCC 12 sees overlapping copies in std::string concatenation that are none (GCC bug 105651).
    $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>
    # Grids must come out byte by byte the same from every build on a machine: no fused
    # multiply-add.
    -ffp-contract=off
    $<$<BOOL:${VELORIX_WERROR}>:-Werror>)
if(VELORIX_SANITIZE)
    add_compile_options(-fsanitize=${VELORIX_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
    # C programs are linked without the part of clang's runtime that checks C++ types.
    if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
        add_compile_options(-fno-sanitize=vptr,function)
    endif()
    add_link_options(-fsanitize=${VELORIX_SANITIZE})
endif()
