# What a build for Windows has of its own. The door is kept open by compiling every portable unit; the object files aren't
# linked. libusb's header is the same on every system.
add_library(qvvisa_libusb INTERFACE)
target_include_directories(qvvisa_libusb SYSTEM INTERFACE ${PROJECT_BINARY_DIR}/libusb-include)
configure_file(/usr/include/libusb-1.0/libusb.h ${PROJECT_BINARY_DIR}/libusb-include/libusb.h COPYONLY)
