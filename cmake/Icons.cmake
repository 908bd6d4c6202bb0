# The program's icon: one SVG drawn for Tavrelo (data/tavrelo.svg), rendered to the hicolor PNG
# sizes at build time. The PNGs are compiled into the program too, so that every window shows the
# icon also when it runs from the build folder, where no icon theme knows it.
find_program(RSVG_CONVERT rsvg-convert REQUIRED)

set(TAVRELO_ICON_SVG ${CMAKE_SOURCE_DIR}/data/tavrelo.svg)
set(TAVRELO_ICON_SIZES 16 22 24 32 48 64 128 256)
set(TAVRELO_ICON_DIR ${CMAKE_BINARY_DIR}/generated/icons)
set(TAVRELO_ICON_PNGS)
foreach(size ${TAVRELO_ICON_SIZES})
  set(png ${TAVRELO_ICON_DIR}/tavrelo-${size}.png)
  add_custom_command(OUTPUT ${png}
    COMMAND ${CMAKE_COMMAND} -E make_directory ${TAVRELO_ICON_DIR}
    COMMAND ${RSVG_CONVERT} -w ${size} -h ${size} ${TAVRELO_ICON_SVG} -o ${png}
    DEPENDS ${TAVRELO_ICON_SVG}
    COMMENT "Rendering the ${size}x${size} icon")
  list(APPEND TAVRELO_ICON_PNGS ${png})
endforeach()

qt_add_resources(tavrelo_lib "program_icon" PREFIX "/icons" BASE ${TAVRELO_ICON_DIR} FILES ${TAVRELO_ICON_PNGS})
