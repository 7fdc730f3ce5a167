# Previews are written as JPEG (photographs) through the system's libjpeg.
find_package(JPEG REQUIRED)
target_link_libraries(mirvo_workbench PRIVATE JPEG::JPEG)
