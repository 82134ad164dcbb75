# zelmar_add_images(): pictures converted into C source at build time.
#
#   zelmar_add_images(<target>
#     IMAGES <picture>...
#     [OPTIONS <option>...]     # e.g. -convertintooptimalpalette16
#     [FORMAT <1-13>])          # the C format; without it the smallest that fits
#
# Each picture is converted by zelmar-console in a folder of its own below
# the current binary folder, so that conversions run in parallel and never
# share a log. The C files become sources of <target>; the target
# <target>_images converts without compiling; the header <target>_images.h,
# on the target's include path, declares every bitmap of every call:
#
#   extern OMRAK_CONST_STORAGE OMRAK_BITMAP bm<name>;
#
# It includes "Omrak.h", which the firmware brings. Call it once per set
# of pictures that share options and format, in the folder that made
# <target>.

# The bitmap name the program derives from a file name cut at its first
# dot: blanks removed, any other character that can't stand in a C
# identifier made '_', a '_' before a leading digit.
function(_zelmar_symbol_name out_var stem)
  string(REPLACE " " "" name "${stem}")
  string(REGEX REPLACE "[^A-Za-z0-9_]" "_" name "${name}")
  if(name MATCHES "^[0-9]")
    set(name "_${name}")
  endif()
  set(${out_var} "${name}" PARENT_SCOPE)
endfunction()

function(zelmar_add_images target)
  cmake_parse_arguments(PARSE_ARGV 1 ARG "" "FORMAT" "IMAGES;OPTIONS")
  if(ARG_UNPARSED_ARGUMENTS)
    message(FATAL_ERROR "zelmar_add_images: unknown arguments: ${ARG_UNPARSED_ARGUMENTS}")
  endif()
  if(NOT TARGET ${target})
    message(FATAL_ERROR "zelmar_add_images: ${target} is no target")
  endif()
  if(NOT ARG_IMAGES)
    message(FATAL_ERROR "zelmar_add_images: no IMAGES for ${target}")
  endif()
  # The program built beside the firmware (add_subdirectory, FetchContent)
  # or the installed one.
  if(TARGET zelmar-console)
    set(program zelmar-console)
  elseif(TARGET Zelmar::zelmar-console)
    set(program Zelmar::zelmar-console)
  else()
    message(FATAL_ERROR "zelmar_add_images: no zelmar-console (find_package(Zelmar) first)")
  endif()
  set(save "1")
  if(DEFINED ARG_FORMAT)
    if(NOT ARG_FORMAT MATCHES "^([1-9]|1[0-3])$" OR ARG_FORMAT EQUAL 3)
      message(FATAL_ERROR "zelmar_add_images: FORMAT ${ARG_FORMAT} is none of 1, 2, 4 to 13")
    endif()
    set(save "1,${ARG_FORMAT}")
  endif()

  # A custom palette is read from the source folder and is a dependency.
  set(options "")
  set(palettes "")
  foreach(option IN LISTS ARG_OPTIONS)
    if(option MATCHES "^([-/]convertintocustompalette)(.+)$")
      get_filename_component(palette "${CMAKE_MATCH_2}" ABSOLUTE BASE_DIR "${CMAKE_CURRENT_SOURCE_DIR}")
      set(option "${CMAKE_MATCH_1}${palette}")
      list(APPEND palettes "${palette}")
    endif()
    list(APPEND options "${option}")
  endforeach()

  set(images_target ${target}_images)
  set(top "${CMAKE_CURRENT_BINARY_DIR}/zelmar/${target}")
  if(NOT TARGET ${images_target})
    add_custom_target(${images_target})
    add_dependencies(${target} ${images_target})
    target_include_directories(${target} PRIVATE "${top}")
    set(header "${top}/${target}_images.h")
    string(MAKE_C_IDENTIFIER "${target}_images_h" guard)
    string(TOUPPER "${guard}" guard)
    set(names "$<TARGET_PROPERTY:${images_target},ZELMAR_BITMAPS>")
    set(decl "extern OMRAK_CONST_STORAGE OMRAK_BITMAP bm")
    file(GENERATE OUTPUT "${header}" CONTENT
"/* The bitmaps of ${target}, converted by zelmar_add_images(). Generated: do not edit. */
#ifndef ${guard}
#define ${guard}

#include \"Omrak.h\"

${decl}$<JOIN:${names},;\n${decl}>;

#endif
")
  endif()

  foreach(image IN LISTS ARG_IMAGES)
    get_filename_component(picture "${image}" ABSOLUTE BASE_DIR "${CMAKE_CURRENT_SOURCE_DIR}")
    get_filename_component(stem "${picture}" NAME_WE)
    # The C file is named as its bitmap: no blank or comma reaches the
    # option text, and the program derives the same name from it.
    _zelmar_symbol_name(name "${stem}")
    get_property(known TARGET ${images_target} PROPERTY ZELMAR_BITMAPS)
    if(name IN_LIST known)
      message(FATAL_ERROR "zelmar_add_images: ${image} gives bm${name}, which ${target} has already")
    endif()
    set_property(TARGET ${images_target} APPEND PROPERTY ZELMAR_BITMAPS "${name}")
    set(dir "${top}/${name}")
    file(MAKE_DIRECTORY "${dir}")
    # A relative path: an absolute one could begin like an option's name.
    file(RELATIVE_PATH arg "${dir}" "${picture}")
    if(IS_ABSOLUTE "${arg}")
      set(arg "${picture}")
    endif()
    add_custom_command(OUTPUT "${dir}/${name}.c"
      COMMAND ${program} "${arg}" ${options} "-saveto${name}.c,${save}" -exit
      DEPENDS "${picture}" ${palettes} ${program}
      WORKING_DIRECTORY "${dir}"
      COMMENT "Converting ${image}"
      VERBATIM)
    target_sources(${images_target} PRIVATE "${dir}/${name}.c")
    target_sources(${target} PRIVATE "${dir}/${name}.c")
  endforeach()
endfunction()
