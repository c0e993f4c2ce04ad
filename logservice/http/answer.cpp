#include "http/answer.h"

void setAnswer(httplib::Response &response, int status, const std::string &type, const std::string &text,
               bool keepsConnection)
{
    response.status = status;
    if (!keepsConnection)
        response.set_header("Connection", "close");
    // A content provider and not just a text: the library would compress the text, and only a provider can end the
    // connection, by failing behind its last byte.
    response.set_content_provider(
        text.size(), type, [text, keepsConnection](std::size_t offset, std::size_t count, httplib::DataSink &sink) {
            return sink.write(text.data() + offset, count) && keepsConnection;
        });
}

void setRefusal(httplib::Response &response, const Refusal &refusal)
{
    if (refusal.status == 405)
        response.set_header("Allow", "POST");
    setAnswer(response, refusal.status, "text/plain; charset=utf-8", std::string(refusal.what()) + "\n", false);
}
