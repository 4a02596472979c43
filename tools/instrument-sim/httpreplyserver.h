#pragma once

#include <functional>
#include <memory>
#include <string>
#include <thread>

namespace httplib {
class Server;
}

// One reply of the instrument's service: a status code and a text body, or a connection that is
// dropped after the headers, as when the instrument goes away in the middle of a reply. A
// location, when set, goes out as the Location header of a redirect. An encoding, when set, goes
// out as the Content-Encoding header of a body so encoded. A stream, when set, follows the body
// with what it gives at each call until it gives nothing or the client goes: as chunks of the
// chunked transfer coding, or else in a body of no stated length that the closed connection ends.
struct HttpReply
{
    int status = 200;
    std::string body;
    bool dropConnection = false;
    std::string location = {};
    std::string encoding = {};
    std::function<std::string()> stream = {};
    bool chunked = false;
};

// Serves every GET with the reply that a responder gives for its path (without the leading
// slash). The responder is called from the server's worker threads.
class HttpReplyServer
{
public:
    using Responder = std::function<HttpReply(const std::string &path)>;

    explicit HttpReplyServer(Responder responder);
    ~HttpReplyServer();
    HttpReplyServer(const HttpReplyServer &) = delete;
    HttpReplyServer &operator=(const HttpReplyServer &) = delete;

    // Binds at once and serves from a thread of its own; false when the address cannot be bound.
    bool start(const std::string &address, int port = 8080);
    // Binds and serves on the calling thread until stop() is called from elsewhere.
    bool listen(const std::string &address, int port = 8080);
    void stop();

private:
    Responder responder;
    std::unique_ptr<httplib::Server> server;
    std::thread thread;
};
