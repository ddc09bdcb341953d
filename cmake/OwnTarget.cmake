# What every target of this project is compiled with; dependencies are left alone.

# tovix_own_target(TARGET): C++20 without extensions, hidden symbols, warnings as errors.
function(tovix_own_target target)
    set_target_properties(${target} PROPERTIES
        CXX_STANDARD 20 CXX_STANDARD_REQUIRED ON CXX_EXTENSIONS OFF
        CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
    target_compile_options(${target} PRIVATE
        -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Woverloaded-virtual -Wold-style-cast
        -Wcast-qual -Wcast-align -Wformat=2 -Wundef -Werror
        # A record's members that are left out take the defaults that it declares.
        -Wno-missing-field-initializers
        # GCC fuses a * b + c by itself wherever the instruction set of a file has the instruction. Off, so that every
        # build and every kernel rounds alike; a kernel that wants the fused form says so.
        -ffp-contract=off)
    if(WIN32)
        # GCC believes that it can align its stack to 32 bytes, which the Windows x64 calling convention does not let it;
        # the assembler turns the aligned vector moves that would fault there into unaligned ones, at no cost on an
        # aligned address. The toolchain file says so too, but a -DCMAKE_CXX_FLAGS=... replaces what it says.
        target_compile_options(${target} PRIVATE $<$<COMPILE_LANGUAGE:C,CXX>:-Wa,-muse-unaligned-vector-move>)
        # The same sources give the same file: no time of linking in it, and no place of this folder.
        target_link_options(${target} PRIVATE -Wl,--no-insert-timestamp)
        target_compile_options(${target} PRIVATE $<$<COMPILE_LANGUAGE:C,CXX>:-ffile-prefix-map=${PROJECT_SOURCE_DIR}/=>)
    endif()
endfunction()
