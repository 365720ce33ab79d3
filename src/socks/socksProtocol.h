#pragma once

// The numbers of SOCKS 5 that the client uses (RFC 1928), and the client's first half.

constexpr unsigned char socksVersion = 5;
constexpr unsigned char socksNoAuthentication = 0;
constexpr unsigned char socksNoAcceptableMethod = 0xFF;
constexpr unsigned char socksCommandConnect = 1;
constexpr unsigned char socksReserved = 0;
constexpr unsigned char socksAddressIpv4 = 1;
constexpr unsigned char socksAddressDomain = 3;
constexpr unsigned char socksAddressIpv6 = 4;

// Connects the socket to the SOCKS server for destinations of `family` and agrees on the method.
// Returns SOCKS_NOT_APPLICABLE (SOCKS mode off), SOCKS_CONNECTED, SOCKS_FAILED or
// SOCKS_SERVER_UNREACHABLE; `socksError` receives the error number, 0 where there is none. The
// socket's status flags are as before.
int socksHandShake(int fd, int& socksError, int family);
