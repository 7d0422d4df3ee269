# The flags that every target of the project is compiled with. The words must come out the same bit for bit with
# every compiler and level of optimisation, so products and sums are never contracted into one rounding, and floats are
# never computed with more bits than a float has, as the x87 unit of i386 does.
include(CheckCXXSourceCompiles)
check_cxx_source_compiles("
    #include <cfloat>
    static_assert(FLT_EVAL_METHOD == 0, \"\");
    int main() {}" TARVUTIL_FLOAT_STAYS_FLOAT)

function(tarvutil_flags target)
    target_compile_options(${target} PRIVATE -ffp-contract=off)
    if(NOT TARVUTIL_FLOAT_STAYS_FLOAT)
        target_compile_options(${target} PRIVATE -msse2 -mfpmath=sse)
    endif()
    if(TARVUTIL_TOP_LEVEL)
        target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wconversion -Wshadow)
        if(TARVUTIL_WERROR)
            target_compile_options(${target} PRIVATE -Werror)
        endif()
    endif()
    if(TARVUTIL_SANITIZE)
        target_compile_options(${target} PRIVATE
            -fsanitize=${TARVUTIL_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
        target_link_options(${target} PRIVATE -fsanitize=${TARVUTIL_SANITIZE})
    endif()
endfunction()
