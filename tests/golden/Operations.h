/** @file Operations.h  Every exported operation by its name. */
#ifndef OPERATIONS_H
#define OPERATIONS_H

#include <functional>
#include <map>
#include <string>

#include "Arguments.h"

namespace golden {

using Operation = std::function<void(Call&)>;

const std::map<std::string, Operation>& operations();

}  // namespace golden

#endif
