#include "base/position.h"

SourceFile *current_file = nullptr;
const char *replay_file_name = nullptr;
std::int32_t replay_line = 0;
bool line_override_active = false;
std::int32_t line_override = 0;
const char *file_name_override = nullptr;

std::int32_t current_line()
{
    if (replay_file_name)
        return replay_line;
    if (line_override_active)
        return line_override;
    return current_file ? static_cast<std::int32_t>(current_file->line) : 0;
}

const char *current_file_name()
{
    if (replay_file_name)
        return replay_file_name;
    if (file_name_override)
        return file_name_override;
    return current_file ? current_file->name : "";
}

void position_reset()
{
    current_file = nullptr;
    replay_file_name = nullptr;
    replay_line = 0;
    line_override_active = false;
    line_override = 0;
    file_name_override = nullptr;
}
