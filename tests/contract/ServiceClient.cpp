#include "ServiceClient.h"

#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>
#include <openssl/x509v3.h>

#include <algorithm>
#include <array>

namespace qsn::service {
namespace {

Socket ConnectTo(std::uint16_t port) {
    Socket socket(::socket(AF_INET, SOCK_STREAM, IPPROTO_TCP));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    if (connect(socket.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        ThrowSocketError("connect");
    }
    return socket;
}

CertificatePtr FromDer(const std::vector<std::uint8_t>& der) {
    const unsigned char* start = der.data();
    return CertificatePtr(d2i_X509(nullptr, &start, static_cast<long>(der.size())));
}

using PemReader = EVP_PKEY* (*)(BIO*, EVP_PKEY**, pem_password_cb*, void*);

PrivateKeyPtr ReadKey(const std::string& name, PemReader read) {
    const BioPtr file(BIO_new_file((QSN_TEST_KEY_DIR "/" + name).c_str(), "rb"));
    RequireOpenSsl(file != nullptr, "BIO_new_file");
    PrivateKeyPtr key(read(file.get(), nullptr, nullptr, nullptr));
    RequireOpenSsl(key != nullptr, "reading a key");
    return key;
}

using Transform = int (*)(EVP_PKEY_CTX*, unsigned char*, std::size_t*, const unsigned char*, std::size_t);

Bytes RunRsa(EVP_PKEY* key, int (*start)(EVP_PKEY_CTX*), Transform transform, const Bytes& input) {
    const KeyContextPtr context(EVP_PKEY_CTX_new(key, nullptr));
    Bytes output(static_cast<std::size_t>(EVP_PKEY_size(key)));
    std::size_t size = output.size();
    RequireOpenSsl(start(context.get()) == 1 && EVP_PKEY_CTX_set_rsa_padding(context.get(), RSA_PKCS1_PADDING) == 1 &&
                       transform(context.get(), output.data(), &size, input.data(), input.size()) == 1,
                   "RSA");
    output.resize(size);
    return output;
}

}  // namespace

ServiceClient::ServiceClient(std::uint16_t port, const CertificateAuthority& trusted, const std::string& host)
    : socket_(ConnectTo(port)), context_(SSL_CTX_new(TLS_client_method())), ssl_(SSL_new(context_.get())) {
    const std::string request = "CONNECT " + host + ":443 HTTP/1.1\r\nHost: " + host + ":443\r\n\r\n";
    send(socket_.Get(), request.data(), static_cast<int>(request.size()), 0);
    std::array<char, 1024> reply;
    const int size = recv(socket_.Get(), reply.data(), static_cast<int>(reply.size()), 0);
    tunnelReply_.assign(reply.data(), static_cast<std::size_t>(std::max(size, 0)));
    if (tunnelReply_.find(" 200 ") == tunnelReply_.npos) return;

    const CertificatePtr root = FromDer(trusted.Der());
    X509_STORE_add_cert(SSL_CTX_get_cert_store(context_.get()), root.get());
    // Not above, because this OpenSSL has no key exchange of TLS 1.3; not below, because one of the faults is that.
    SSL_set_min_proto_version(ssl_.get(), TLS1_2_VERSION);
    SSL_set_max_proto_version(ssl_.get(), TLS1_2_VERSION);
    SSL_set1_host(ssl_.get(), host.c_str());
    // The macro for this has a cast of C's in it.
    SSL_ctrl(ssl_.get(), SSL_CTRL_SET_TLSEXT_HOSTNAME, TLSEXT_NAMETYPE_host_name, const_cast<char*>(host.c_str()));
    SSL_set_fd(ssl_.get(), static_cast<int>(socket_.Get()));
    secure_ = SSL_connect(ssl_.get()) == 1;
}

long ServiceClient::VerifyResult() const { return SSL_get_verify_result(ssl_.get()); }

std::string ServiceClient::ReadSome() {
    std::array<char, 16384> piece;
    ERR_clear_error();
    const int size = SSL_read(ssl_.get(), piece.data(), static_cast<int>(piece.size()));
    return {piece.data(), static_cast<std::size_t>(std::max(size, 0))};
}

bool ServiceClient::Complete(const std::string& reply) const {
    const auto end = reply.find("\r\n\r\n");
    if (end == reply.npos) return false;
    const std::string length = HeaderIn(reply.substr(0, end), "Content-Length");
    return !length.empty() && reply.size() >= end + 4 + std::stoul(length);
}

std::string ServiceClient::Exchange(const std::string& request) {
    SSL_write(ssl_.get(), request.data(), static_cast<int>(request.size()));
    std::string reply;
    while (!Complete(reply)) {
        const std::string more = ReadSome();
        if (more.empty()) break;
        reply += more;
    }
    return reply;
}

std::pair<std::string, std::string> ServiceClient::ExchangeParts(const std::string& request) {
    const std::string reply = Exchange(request);
    const auto end = std::min(reply.find("\r\n\r\n"), reply.size());
    return {reply.substr(0, end), reply.substr(std::min(end + 4, reply.size()))};
}

std::string ServiceClient::ReadToTheEnd() {
    std::string all;
    for (std::string more = ReadSome(); !more.empty(); more = ReadSome()) all += more;
    return all;
}

std::string PostRequest(std::string_view path, std::string_view headers, std::string_view body) {
    return "POST " + std::string(path) + " HTTP/1.1\r\nHost: account\r\n" + std::string(headers) +
           "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + std::string(body);
}

std::string RequestToken(std::string_view nonce) {
    Bytes block(nonce.begin(), nonce.end());
    block.resize(16);
    const PrivateKeyPtr key = ReadKey("request_public.pem", PEM_read_bio_PUBKEY);
    Bytes encrypted = RunRsa(key.get(), EVP_PKEY_encrypt_init, EVP_PKEY_encrypt, block);
    std::reverse(encrypted.begin(), encrypted.end());
    return ToHex(encrypted);
}

std::string NonceOfReply(std::string_view token) {
    Bytes encrypted = FromHex(token).value();
    std::reverse(encrypted.begin(), encrypted.end());
    const PrivateKeyPtr key = ReadKey("reply_private.pem", PEM_read_bio_PrivateKey);
    const Bytes block = RunRsa(key.get(), EVP_PKEY_decrypt_init, EVP_PKEY_decrypt, encrypted);
    if (block.size() != 16) throw std::runtime_error("the reply's nonce block has another size");
    return reinterpret_cast<const char*>(block.data());
}

std::string AuthenticationOf(std::string_view body) {
    return "X-token: " + RequestToken("20481") + "\r\nX-digest: " + DigestOf(body, "20481") + "\r\n";
}

std::string HeaderIn(std::string_view header, std::string_view name) {
    const std::string wanted = "\r\n" + std::string(name) + ": ";
    const auto start = header.find(wanted);
    if (start == header.npos) return {};
    const std::string_view value = header.substr(start + wanted.size());
    return std::string(value.substr(0, value.find('\r')));
}

}  // namespace qsn::service
