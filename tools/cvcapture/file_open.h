// Opens a file by a path of any characters: Windows needs the wide name, Linux takes the bytes.
#pragma once

#include <cstdio>
#include <filesystem>

std::FILE* OpenFile(const std::filesystem::path& path, const char* mode);
