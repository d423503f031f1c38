# SPDX-License-Identifier: Apache-2.0
# The device's object built in other ways than jorn.o, with every build: against headers shaped like the device's
# own, and for an older core. None of it is shipped.
get_target_property(JORN_MODULE_SOURCES jorn_module SOURCES)
get_target_property(JORN_MODULE_OPTIONS jorn_module COMPILE_OPTIONS)
set(JORN_LINKAGE ${PROJECT_SOURCE_DIR}/tests/linkage)
set(JORN_DEVICE_HEADERS ${JORN_LINKAGE}/device_headers)

# The module's sources, with whatever belongs to them, as one relocatable object NAME.o in the build folder:
# jorn_device_object(NAME SOURCES... OPTIONS...)
function(jorn_device_object name)
  cmake_parse_arguments(PARSE_ARGV 1 more "" "" "SOURCES;OPTIONS")
  add_library(${name} OBJECT ${JORN_MODULE_SOURCES} ${more_SOURCES})
  target_include_directories(${name} PRIVATE include src ${JORN_DEVICE_HEADERS})
  target_link_libraries(${name} PRIVATE jorn_options)
  target_compile_options(${name} PRIVATE ${JORN_MODULE_OPTIONS} ${more_OPTIONS})
  set(object ${PROJECT_BINARY_DIR}/${name}.o)
  add_custom_command(
    OUTPUT ${object}
    COMMAND ${CMAKE_LINKER} -r -o ${object} $<TARGET_OBJECTS:${name}>
    COMMAND ${CMAKE_OBJCOPY} --keep-global-symbols=${JORN_EXPORTS} ${object}
    DEPENDS ${name} $<TARGET_OBJECTS:${name}> ${JORN_EXPORTS}
    COMMAND_EXPAND_LISTS VERBATIM
    COMMENT "Linking relocatable module ${name}.o")
  set(${name}_OBJECT ${object} PARENT_SCOPE)
endfunction()

# Whatever the headers look like, the object imports the same calls by the same names.
jorn_device_object(jorn_task_pointer OPTIONS -DTASK_ID_IS_POINTER)
jorn_device_object(jorn_task_number)
add_library(jorn_make_directory OBJECT port/vxworks/make_directory.cpp)
target_include_directories(jorn_make_directory PRIVATE ${JORN_DEVICE_HEADERS})
target_link_libraries(jorn_make_directory PRIVATE jorn_options)
add_custom_target(jorn_device_headers ALL
  COMMAND ${JORN_LINKAGE}/check_same_imports.sh ${CMAKE_NM} ${JORN_RELOCATABLE}
          ${jorn_task_pointer_OBJECT} ${jorn_task_number_OBJECT}
  DEPENDS ${JORN_RELOCATABLE} ${jorn_task_pointer_OBJECT} ${jorn_task_number_OBJECT}
  VERBATIM
  COMMENT "Symbols that jorn.o asks for with headers shaped like the device's")
add_dependencies(jorn_device_headers jorn_relocatable jorn_make_directory)

# On cores before ARMv6 the object imports four more helpers, until the build recipe's file for such cores supplies
# them.
set(JORN_ARMV5 -mcpu=arm926ej-s -marm)
set(JORN_ARMV5_IMPORTS
  ${JORN_LINKAGE}/imports.txt ${JORN_LINKAGE}/imports-arm.txt ${JORN_LINKAGE}/imports-newlib.txt)
jorn_device_object(jorn_armv5_alone OPTIONS ${JORN_ARMV5})
jorn_device_object(jorn_armv5 SOURCES port/vxworks/armv5_atomics.cpp OPTIONS ${JORN_ARMV5})
add_executable(jorn_armv5_atomics tests/linkage/armv5_atomics_program.c port/vxworks/armv5_atomics.cpp)
target_include_directories(jorn_armv5_atomics PRIVATE ${JORN_DEVICE_HEADERS})
target_link_libraries(jorn_armv5_atomics PRIVATE jorn_options)
target_compile_options(jorn_armv5_atomics PRIVATE ${JORN_ARMV5} $<$<COMPILE_LANGUAGE:CXX>:${JORN_MODULE_OPTIONS}>)
target_link_options(jorn_armv5_atomics PRIVATE ${JORN_ARMV5} -nostdlib)
find_program(JORN_ARM_EMULATOR qemu-arm-static REQUIRED)
add_custom_target(jorn_older_core ALL
  COMMAND ${JORN_LINKAGE}/check_imports.sh ${CMAKE_NM} ${jorn_armv5_alone_OBJECT}
          ${JORN_ARMV5_IMPORTS} ${JORN_LINKAGE}/imports-armv5.txt
  COMMAND ${JORN_LINKAGE}/check_imports.sh ${CMAKE_NM} ${jorn_armv5_OBJECT}
          ${JORN_ARMV5_IMPORTS} ${JORN_LINKAGE}/imports-armv5-atomics.txt
  COMMAND ${JORN_LINKAGE}/check_exports.sh ${CMAKE_NM} ${JORN_EXPORTS} ${jorn_armv5_OBJECT}
  COMMAND timeout 60 ${JORN_ARM_EMULATOR} -cpu arm926 $<TARGET_FILE:jorn_armv5_atomics>
  DEPENDS ${jorn_armv5_alone_OBJECT} ${jorn_armv5_OBJECT} jorn_armv5_atomics
  VERBATIM
  COMMENT "Atomic access on a core before ARMv6")
