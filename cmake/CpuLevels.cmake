# One x86-64 executable for every CPU. In a portable build for x86-64 the engine's core is compiled three
# times, for the levels x86-64, x86-64-v2 and x86-64-v3, and main (baseline code) runs the best copy the CPU
# supports. The baseline copy is ferrolune_core itself, the library the tests link; the two higher copies are
# object libraries whose every defined symbol is renamed with a suffix of the level (.x86_64_v2,
# .x86_64_v3), so that no function of one copy can stand in for one of another: the linker keeps one of two
# inline functions or template instantiations of the same name, and a v3 copy chosen for the baseline would
# crash an old CPU. Renaming (objcopy) rather than C++ namespaces, which leave the standard library's
# templates with one name. What a copy does not define (the platform layer, the C and C++ runtime) it shares
# with the others: baseline code.
#
# Two checks guard this: RenameLevelSymbols.cmake refuses a static initialiser in a higher copy (code of
# that level run before main), and CheckLevelSymbols.cmake, after the link, a symbol of a higher copy that
# the linker dropped for another copy's.
#
# Included by CMakeLists.txt after the ferrolune target is defined. Sets FERROLUNE_CPU_DISPATCH.

set(FERROLUNE_CPU_LEVELS x86-64-v2 x86-64-v3)
set(FERROLUNE_CPU_DISPATCH OFF)

include(CheckCXXSourceCompiles)
check_cxx_source_compiles("#ifndef __x86_64__\n#error not x86-64\n#endif\nint main() { return 0; }"
                          FERROLUNE_TARGET_X86_64)

if(FERROLUNE_PORTABLE AND FERROLUNE_TARGET_X86_64)
  # The baseline is the compiler's default target; the line printed by --version names the level.
  target_compile_definitions(ferrolune_core PRIVATE FERROLUNE_CPU_LEVEL="x86-64")
  if(FERROLUNE_ASAN OR FERROLUNE_TSAN OR FERROLUNE_FUZZ OR FERROLUNE_PGO_GENERATE)
    # Instrumented builds register their instrumentation before main: they stay on the baseline.
  elseif(NOT CMAKE_CXX_COMPILER_ID STREQUAL "GNU" OR CMAKE_CXX_COMPILER_VERSION VERSION_LESS 12)
    message(WARNING "FERROLUNE_PORTABLE: choosing the code at start-up needs GCC 12 or later "
                    "(__builtin_cpu_supports of the x86-64 levels); this build runs baseline x86-64 code only.")
  elseif(NOT CMAKE_NM OR NOT CMAKE_OBJCOPY OR NOT CMAKE_OBJDUMP)
    message(WARNING "FERROLUNE_PORTABLE: nm, objcopy or objdump not found; this build runs baseline x86-64 "
                    "code only.")
  else()
    set(FERROLUNE_CPU_DISPATCH ON)
  endif()
endif()

if(FERROLUNE_CPU_DISPATCH)
  set(renamed_objects)
  set(symbol_lists)
  # The platform layer is compiled once, for the baseline, and shared by the copies: the system calls gain
  # nothing at a higher level, and its start-up code (Windows' timer resolution) runs before main.
  set(level_sources ${FERROLUNE_SOURCES})
  list(FILTER level_sources EXCLUDE REGEX "/src/platform/")
  foreach(level IN LISTS FERROLUNE_CPU_LEVELS)
    string(REPLACE "-" "_" tag ${level})
    set(copy ferrolune_core_${tag})
    add_library(${copy} OBJECT ${level_sources})
    # Compiled as ferrolune_core is, whatever CMakeLists.txt gives it, but for its own level.
    target_include_directories(${copy} PRIVATE $<TARGET_PROPERTY:ferrolune_core,INCLUDE_DIRECTORIES>)
    target_link_libraries(${copy} PRIVATE Threads::Threads)
    target_compile_options(${copy} PRIVATE $<TARGET_PROPERTY:ferrolune_core,COMPILE_OPTIONS>
                                           -march=${level} -mtune=generic)
    target_compile_definitions(${copy} PRIVATE
      $<FILTER:$<TARGET_PROPERTY:ferrolune_core,COMPILE_DEFINITIONS>,EXCLUDE,^FERROLUNE_CPU_LEVEL=>
      FERROLUNE_CPU_LEVEL="${level}")
    # Symbols are renamed in machine code; an LTO object holds none.
    set_target_properties(${copy} PROPERTIES INTERPROCEDURAL_OPTIMIZATION OFF)

    # The renamed object of src/X.cpp is cpu_levels/TAG/src/X.cpp.o (.obj with MinGW): the script finds the
    # same relative path after the object library's ".dir/".
    set(outputs)
    foreach(source IN LISTS level_sources)
      file(RELATIVE_PATH relative ${CMAKE_SOURCE_DIR} ${source})
      list(APPEND outputs ${CMAKE_BINARY_DIR}/cpu_levels/${tag}/${relative}${CMAKE_CXX_OUTPUT_EXTENSION})
    endforeach()
    add_custom_command(OUTPUT ${outputs}
      COMMAND ${CMAKE_COMMAND} -DNM=${CMAKE_NM} -DOBJCOPY=${CMAKE_OBJCOPY} -DOBJDUMP=${CMAKE_OBJDUMP}
              -DSUFFIX=.${tag} -DOUT_DIR=${CMAKE_BINARY_DIR}/cpu_levels/${tag}
              -P ${CMAKE_CURRENT_LIST_DIR}/RenameLevelSymbols.cmake $<TARGET_OBJECTS:${copy}>
      DEPENDS ${copy} $<TARGET_OBJECTS:${copy}> ${CMAKE_CURRENT_LIST_DIR}/RenameLevelSymbols.cmake
      COMMENT "Renaming the symbols of the ${level} copy of the engine"
      COMMAND_EXPAND_LISTS VERBATIM)
    list(APPEND renamed_objects ${outputs})
    list(APPEND symbol_lists ${CMAKE_BINARY_DIR}/cpu_levels/${tag}/external_symbols.txt)
  endforeach()

  set_source_files_properties(${renamed_objects} PROPERTIES EXTERNAL_OBJECT ON GENERATED ON)
  target_sources(ferrolune PRIVATE ${renamed_objects})
  target_compile_definitions(ferrolune PRIVATE FERROLUNE_CPU_DISPATCH)
  if(FERROLUNE_PGO)
    # The instrumented training build runs the baseline alone, whose main is not this one.
    target_compile_options(ferrolune PRIVATE -fno-profile-use)
  endif()
  add_custom_command(TARGET ferrolune POST_BUILD
    COMMAND ${CMAKE_COMMAND} -DNM=${CMAKE_NM} -DENGINE=$<TARGET_FILE:ferrolune> "-DSYMBOL_LISTS=${symbol_lists}"
            -P ${CMAKE_CURRENT_LIST_DIR}/CheckLevelSymbols.cmake
    VERBATIM)
  message(STATUS "ferrolune: one executable for x86-64, x86-64-v2 and x86-64-v3, chosen at start-up")

  # Under user-mode emulation of older and newer CPUs the executable must choose the copy the model
  # supports and give the search signature.
  find_program(FERROLUNE_QEMU_X86_64 qemu-x86_64)
  if(FERROLUNE_TESTS AND FERROLUNE_QEMU_X86_64 AND NOT CMAKE_CROSSCOMPILING)
    foreach(model_level qemu64:x86-64 Nehalem:x86-64-v2 Haswell:x86-64-v3)
      string(REPLACE ":" ";" pair ${model_level})
      list(GET pair 0 model)
      list(GET pair 1 level)
      add_test(NAME CpuLevel.${model}
               COMMAND ${CMAKE_COMMAND} -DQEMU=${FERROLUNE_QEMU_X86_64} -DMODEL=${model} -DLEVEL=${level}
                       -DENGINE=$<TARGET_FILE:ferrolune> -DSIGNATURE_FILE=${CMAKE_SOURCE_DIR}/bench/signature.txt
                       -P ${CMAKE_SOURCE_DIR}/tests/cpu_level_run.cmake)
      set_tests_properties(CpuLevel.${model} PROPERTIES TIMEOUT 900)
    endforeach()
  endif()
endif()
