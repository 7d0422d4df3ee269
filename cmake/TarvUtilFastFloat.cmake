# Where the standard library reads no floating-point numbers, src/NumberText.cpp reads them with fast_float, a header.
include(CheckCXXSourceCompiles)

# tarvutil_fast_float(TARGET): lets TARGET include it.
function(tarvutil_fast_float target)
    find_path(TARVUTIL_FAST_FLOAT_INCLUDE fast_float/fast_float.h
        DOC "The directory with fast_float/fast_float.h" REQUIRED)
    target_include_directories(${target} SYSTEM PRIVATE ${TARVUTIL_FAST_FLOAT_INCLUDE})
endfunction()

# tarvutil_fast_float_where_needed(TARGET): the same, where the standard library leaves __cpp_lib_to_chars undefined.
function(tarvutil_fast_float_where_needed target)
    set(CMAKE_CXX_STANDARD 17)
    check_cxx_source_compiles("#include <charconv>
        #ifndef __cpp_lib_to_chars
        #error no
        #endif
        int main() {}" TARVUTIL_READS_FLOATS)
    if(NOT TARVUTIL_READS_FLOATS)
        tarvutil_fast_float(${target})
    endif()
endfunction()

# tarvutil_numbers_by_fast_float(): the library TarvUtilNumbersByFastFloat, the same source compiled to read with
# fast_float, with another name for its namespace, so that a program can compare both.
function(tarvutil_numbers_by_fast_float)
    if(TARGET TarvUtilNumbersByFastFloat)
        return()
    endif()
    add_library(TarvUtilNumbersByFastFloat STATIC ${PROJECT_SOURCE_DIR}/src/NumberText.cpp)
    target_compile_definitions(TarvUtilNumbersByFastFloat PRIVATE TARVUTIL_FAST_FLOAT Internal=ByFastFloat)
    target_include_directories(TarvUtilNumbersByFastFloat PRIVATE ${PROJECT_SOURCE_DIR}/include)
    tarvutil_fast_float(TarvUtilNumbersByFastFloat)
    tarvutil_flags(TarvUtilNumbersByFastFloat)
endfunction()
