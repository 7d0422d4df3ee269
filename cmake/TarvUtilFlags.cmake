# The flags that every target of the project is compiled with. The words must come out the same bit for bit with
# every compiler and level of optimisation, so products and sums are never contracted into one rounding.
function(tarvutil_flags target)
    target_compile_options(${target} PRIVATE -ffp-contract=off)
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
