#include "options.h"
#include "service.h"

#include <cstdlib>
#include <iostream>

#include <sys/stat.h>

namespace {

constexpr int kWrongUsage = 2;
constexpr mode_t kForTheOwnerOnly = 0077; // what is not granted: logs are nobody else's business

} // namespace

int main(int argc, char **argv)
{
    ::umask(kForTheOwnerOnly);
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
