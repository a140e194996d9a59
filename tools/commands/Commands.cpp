#include "tools/commands/Commands.h"
