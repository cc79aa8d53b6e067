// Prints the schema of machine descriptions, the content of machines/machine.schema.json.
#include "winsim/machine/machine_schema.h"

#include <iostream>

int main()
{
    std::cout << winsim::MachineSchema().dump(2) << '\n';
}
