// The shared library's own translation unit; its code comes from the area archives.
