#include "page/htmlpage.h"

#include "page/htmltext.h"

std::string htmlPage(const std::string &title, const std::string &content)
{
    return "<!DOCTYPE html>\n"
           "<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
           "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
           "<title>" +
           htmlText(title) +
           " - kxlogservice</title>\n"
           "<link rel=\"icon\" href=\"data:,\">\n" // keeps browsers from asking for one
           "<link rel=\"stylesheet\" href=\"/style.css\">\n"
           "</head>\n<body>\n<main>\n" +
           content + "</main>\n</body>\n</html>\n";
}

std::string labelledInput(const std::string &label, const std::string &type, const std::string &name,
                          const std::string &value)
{
    return "<label>" + label + " <input type=\"" + type + R"(" name=")" + name + R"(" value=")" + htmlText(value) +
           "\"></label>\n";
}

std::string option(const std::string &value, const std::string &label, bool isSelected)
{
    return "<option value=\"" + htmlText(value) + "\"" + (isSelected ? " selected" : "") + ">" + htmlText(label) +
           "</option>\n";
}
