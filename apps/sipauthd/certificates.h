// What can be told of certificate files before they are used.
#ifndef SIPAUTHD_CERTIFICATES_H
#define SIPAUTHD_CERTIFICATES_H

#include <string>

namespace sipauthd
{

/// Why a certificate with its private key (empty: in the same file) cannot be used; empty when it can.
std::string certificateProblem( const std::string &certificate, const std::string &privateKey );
/// That a certificate has ended, is not valid yet, or ends within 14 days; empty otherwise, and for no file.
std::string certificateWarning( const std::string &certificate );

} // namespace sipauthd

#endif
