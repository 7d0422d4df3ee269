# The flags that every target of the project is compiled with. The words must be the same, bit for bit, with every
# compiler, processor and level of optimisation. So products and sums are never contracted into one rounding, and the
# x87 unit, which computes a float with more bits than it has, is not used: a 32-bit x86 needs SSE2.
include(CheckCXXSourceCompiles)

if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(i.86|x86|x86_64|AMD64)$")
    check_cxx_source_compiles("#include <cfloat>
        static_assert(FLT_EVAL_METHOD == 0, \"\");
        int main() {}" TARVUTIL_FLOAT_IS_FLOAT)
endif()

function(tarvutil_flags target)
    target_compile_options(${target} PRIVATE -ffp-contract=off)
    if(DEFINED TARVUTIL_FLOAT_IS_FLOAT AND NOT TARVUTIL_FLOAT_IS_FLOAT)
        target_compile_options(${target} PRIVATE -msse2 -mfpmath=sse)
    endif()
    if(TARVUTIL_TOP_LEVEL)
        target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wconversion -Wshadow)
        if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
            # In C++20 it reports overlapping assignments inside std::string.
            target_compile_options(${target} PRIVATE -Wno-restrict)
        endif()
        if(TARVUTIL_WERROR)
            target_compile_options(${target} PRIVATE -Werror)
        endif()
    endif()
    if(TARVUTIL_ASSERTS OR TARVUTIL_SANITIZE)
        target_compile_definitions(${target} PRIVATE TARVUTIL_ASSERTS)
    endif()
    if(TARVUTIL_SANITIZE)
        target_compile_options(${target} PRIVATE
            -fsanitize=${TARVUTIL_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
        target_link_options(${target} PRIVATE -fsanitize=${TARVUTIL_SANITIZE})
    endif()
endfunction()
