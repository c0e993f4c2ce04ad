#include "load/uploadload.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <fstream>
#include <iterator>
#include <mutex>
#include <stdexcept>
#include <thread>

#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

namespace {

using Clock = std::chrono::steady_clock;

constexpr char kBoundary[] = "--------GI3Ef1ei4KM7KM7ae0ei4ei4ei4ae0";
constexpr char kMark[] = "upload number ";
constexpr std::size_t kContentSize = 16 * 1024;
constexpr time_t kPatienceSeconds = 30;

/// One connection, for one request. Throws std::runtime_error.
class Connection
{
public:
    explicit Connection(int port) : socket_(::socket(AF_INET, SOCK_STREAM, 0))
    {
        const timeval patience{kPatienceSeconds, 0};
        ::setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
        ::setsockopt(socket_, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<std::uint16_t>(port));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        if (::connect(socket_, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0)
            fail("no connection");
    }
    ~Connection() { ::close(socket_); }
    Connection(const Connection &) = delete;
    Connection &operator=(const Connection &) = delete;

    void send(const std::string &bytes)
    {
        for (std::size_t sent = 0; sent < bytes.size();) {
            const ssize_t count = ::send(socket_, bytes.data() + sent, bytes.size() - sent, 0);
            if (count <= 0)
                fail("the request was not read");
            sent += static_cast<std::size_t>(count);
        }
    }

    /// The status of the answer, of which the head is enough.
    int receiveStatus()
    {
        std::string head;
        while (head.find("\r\n\r\n") == std::string::npos) {
            char buffer[2048];
            const ssize_t count = ::recv(socket_, buffer, sizeof buffer, 0);
            if (count <= 0)
                fail("no answer");
            head.append(buffer, static_cast<std::size_t>(count));
        }
        return std::stoi(head.substr(head.find(' ')));
    }

private:
    [[noreturn]] void fail(const char *what)
    {
        throw std::runtime_error(std::string("an upload of the load failed: ") + what);
    }

    int socket_;
};

std::string request(const std::string &line, const std::string &form)
{
    return line + "\r\nHost: 127.0.0.1\r\nContent-Type: multipart/form-data; boundary=" + kBoundary +
           "\r\nMIME-Version: 1.0\r\nContent-Length: " + std::to_string(form.size()) +
           "\r\nConnection: Keep-Alive\r\nAccept-Encoding: gzip, deflate\r\nAccept-Language: en,*\r\n"
           "User-Agent: Mozilla/5.0\r\n\r\n" +
           form;
}

std::string bytesOf(const std::filesystem::path &path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

} // namespace

std::string loadContent(std::uint64_t number)
{
    std::string content = kMark + std::to_string(number) + '\n';
    content.reserve(kContentSize);
    for (std::uint64_t word = number; content.size() < kContentSize;
         word = word * 6364136223846793005U + 1442695040888963407U)
        content.append(reinterpret_cast<const char *>(&word), sizeof word);
    content.resize(kContentSize);
    return content;
}

std::string loadForm(std::uint64_t number)
{
    const std::string line = std::string("--") + kBoundary;
    const std::string disposition = "\r\nContent-Disposition: form-data; name=";
    return line + disposition + "\"room\"\r\n\r\nnickname-ann.loginname-a1.userid-42.roomid-7.roomname-lobby\r\n" +
           line + disposition + "\"namespace\"\r\n\r\nbench\r\n" + line + disposition + "\"file\"; filename=\"" +
           std::to_string(number) + ".log\"\r\nContent-Type: image/png\r\n\r\n" + loadContent(number) + "\r\n" + line +
           "--\r\n";
}

LoadResult runLoad(const UploadLoad &load)
{
    LoadResult result;
    std::string failure;
    std::mutex mutex;
    std::atomic<std::uint64_t> next{0};
    std::atomic<bool> hasFailed{false};
    const auto start = Clock::now();
    const auto end = start + std::chrono::duration<double>(load.seconds);
    const auto send = [&] {
        std::vector<std::uint64_t> accepted;
        try {
            while (Clock::now() < end && !hasFailed) {
                const std::uint64_t number = next++;
                Connection connection(load.port);
                connection.send(request(load.requestLine(number), loadForm(number)));
                const int status = connection.receiveStatus();
                if (status < 200 || status > 204)
                    throw std::runtime_error("an upload of the load was answered with " + std::to_string(status));
                accepted.push_back(number);
            }
        } catch (const std::exception &error) {
            const std::lock_guard<std::mutex> lock(mutex);
            failure = error.what();
            hasFailed = true;
        }
        const std::lock_guard<std::mutex> lock(mutex);
        result.accepted.insert(result.accepted.end(), accepted.begin(), accepted.end());
    };
    std::vector<std::thread> clients;
    for (int i = 0; i < load.clients; ++i)
        clients.emplace_back(send);
    for (std::thread &client : clients)
        client.join();
    if (hasFailed)
        throw std::runtime_error(failure);
    result.seconds = std::chrono::duration<double>(Clock::now() - start).count();
    return result;
}

void checkStored(const std::filesystem::path &folder, const std::vector<std::uint64_t> &accepted,
                 const std::function<std::string(std::uint64_t)> &expected)
{
    std::vector<std::uint64_t> stored;
    for (const auto &entry : std::filesystem::recursive_directory_iterator(folder)) {
        if (!entry.is_regular_file() || entry.file_size() < kContentSize)
            continue;
        const std::string bytes = bytesOf(entry.path());
        const std::size_t mark = bytes.find(kMark);
        if (mark == std::string::npos)
            continue;
        stored.push_back(std::stoull(bytes.substr(mark + sizeof kMark - 1, 20)));
        if (bytes != expected(stored.back()))
            throw std::runtime_error(entry.path().string() + " does not hold what was sent");
    }
    std::vector<std::uint64_t> sent(accepted);
    std::sort(sent.begin(), sent.end());
    std::sort(stored.begin(), stored.end());
    if (stored != sent)
        throw std::runtime_error(std::to_string(sent.size()) + " uploads were accepted, " +
                                 std::to_string(stored.size()) + " stored, or not the same ones");
}
