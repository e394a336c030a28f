# How every target of this project is compiled.

# lumetra_compile(TARGET): C++20, hidden symbols, strict warnings, the same floating point everywhere.
function(lumetra_compile target)
    set_target_properties(${target} PROPERTIES
        CXX_STANDARD 20
        CXX_STANDARD_REQUIRED ON
        CXX_EXTENSIONS OFF
        CXX_VISIBILITY_PRESET hidden
        C_VISIBILITY_PRESET hidden
        OBJCXX_VISIBILITY_PRESET hidden
        VISIBILITY_INLINES_HIDDEN ON
        POSITION_INDEPENDENT_CODE ON)
    # Fused multiply-add rounds once where the definition rounds twice.
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wconversion -ffp-contract=off
        $<$<BOOL:${LUMETRA_WERROR}>:-Werror>
        # g++ 12 sees overlaps that cannot be in std::string's own concatenation when it optimises for speed.
        $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>)
    lumetra_unloadable(${target})
    if(LUMETRA_SANITIZE)
        target_compile_options(${target} PRIVATE -fsanitize=${LUMETRA_SANITIZE} -fno-sanitize-recover=all
            -fno-omit-frame-pointer)
        target_link_options(${target} PUBLIC -fsanitize=${LUMETRA_SANITIZE})
    endif()
endfunction()
