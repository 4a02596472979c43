#include "tools/instrument-sim/httpreplyserver.h"

#include <httplib.h>

#include <csignal>
#include <limits>
#include <utility>

HttpReplyServer::HttpReplyServer(Responder responder)
    : responder(std::move(responder))
    , server(std::make_unique<httplib::Server>())
{
    // A client that goes away while we write must not end the process that serves it.
    std::signal(SIGPIPE, SIG_IGN);
    // Without it every small reply waits for the client's delayed acknowledgement: tens of
    // replies a second instead of thousands.
    server->set_tcp_nodelay(true);
    server->set_keep_alive_max_count(std::numeric_limits<size_t>::max());
    server->Get(".*", [this](const httplib::Request &request, httplib::Response &response) {
        const HttpReply reply = this->responder(request.path.substr(1));
        response.status = reply.status;
        if (!reply.location.empty())
            response.set_header("Location", reply.location);
        // The server compresses text by itself for a client that accepts it: an encoded body is
        // sent as it stands.
        const char *type = "text/plain; charset=utf-8";
        if (!reply.encoding.empty()) {
            response.set_header("Content-Encoding", reply.encoding);
            type = "application/octet-stream";
        }
        if (reply.stream) {
            const auto provide = [reply, first = true](size_t, httplib::DataSink &sink) mutable {
                const bool opening = std::exchange(first, false);
                const std::string piece = opening ? reply.body : reply.stream();
                if (piece.empty() && !opening)
                    sink.done();
                return piece.empty() || sink.write(piece.data(), piece.size());
            };
            if (reply.chunked)
                response.set_chunked_content_provider(type, provide);
            else
                response.set_content_provider(type, provide);
            return;
        }
        if (!reply.dropConnection) {
            response.set_content(reply.body, type);
            return;
        }
        // The headers promise a body that never comes: the provider gives up before writing.
        response.set_content_provider(reply.body.size() + 1, "text/plain; charset=utf-8",
                                      [](size_t, size_t, httplib::DataSink &) { return false; });
    });
}

HttpReplyServer::~HttpReplyServer()
{
    stop();
}

bool HttpReplyServer::start(const std::string &address, int port)
{
    if (!server->bind_to_port(address.c_str(), port))
        return false;
    thread = std::thread([this] { server->listen_after_bind(); });
    return true;
}

bool HttpReplyServer::listen(const std::string &address, int port)
{
    return server->listen(address.c_str(), port);
}

void HttpReplyServer::stop()
{
    server->stop();
    if (thread.joinable())
        thread.join();
}
