# How this project compiles its own code. A function, not global flags, so that a project that adds
# this one by add_subdirectory keeps its own.

if(T8_SANITIZE)
    add_compile_options(-fsanitize=${T8_SANITIZE} -fno-sanitize-recover=all
                        -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${T8_SANITIZE})
endif()

function(t8_compile target)
    target_compile_features(${target} PRIVATE cxx_std_17)
    set_target_properties(${target} PROPERTIES
        CXX_EXTENSIONS OFF
        CXX_VISIBILITY_PRESET hidden
        VISIBILITY_INLINES_HIDDEN ON
        POSITION_INDEPENDENT_CODE ON)
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wconversion)
    if(T8_WERROR)
        target_compile_options(${target} PRIVATE -Werror)
    endif()
endfunction()
