#include "options.h"
#include "service.h"

#include <cstdlib>
#include <iostream>

namespace {

constexpr int kWrongUsage = 2;

} // namespace

int main(int argc, char **argv)
{
    try {
        const auto options = parseOptions({argv + 1, argv + argc});
        if (!options.asksForHelp)
            return runService(options);
        std::cout << helpText();
        return EXIT_SUCCESS;
    } catch (const UsageError &error) {
        std::cerr << "kxlogservice: " << error.what() << std::endl;
        return kWrongUsage;
    } catch (const std::exception &error) {
        std::cerr << "kxlogservice: " << error.what() << std::endl;
        return EXIT_FAILURE;
    }
}
