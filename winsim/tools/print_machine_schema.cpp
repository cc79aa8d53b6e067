// Prints the schema of machine descriptions, as machines/machine.schema.json holds it.
#include "winsim/machine/machine_schema.h"

#include <iostream>

int main()
{
    std::cout << winsim::MachineSchema().dump(2) << '\n';
}
