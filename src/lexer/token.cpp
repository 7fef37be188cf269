#include "lexer/token.h"

Token *current_token = nullptr;
