// A folder for a test's files, and a configuration to begin with.
#ifndef SIPAUTHD_FILES_H
#define SIPAUTHD_FILES_H

#include "sipauthd/config_object.h"

#include <gtest/gtest.h>
#include <host/host_module.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <sys/stat.h>

namespace sipauthd
{

class FilesTest : public testing::Test
{
protected:
    FilesTest()
    {
        char name[] = "/tmp/sipauthd-test-XXXXXX";
        folder_ = ::mkdtemp( name );
        pbModuleStart( hostModule() );
        sort_ = std::make_unique<ConfigSort>();
    }
    ~FilesTest() override
    {
        sort_.reset();
        pbModuleStop( hostModule() );
        std::filesystem::remove_all( folder_ );
    }

    /// Writes a file that only its owner can read, and returns its path.
    std::string write( const std::string &name, const std::string &content ) const
    {
        std::string path = folder_ + "/" + name;
        std::ofstream( path, std::ios::trunc ) << content;
        ::chmod( path.c_str(), 0600 );
        return path;
    }

    static std::string replaced( std::string text, const std::string &old, const std::string &with )
    {
        size_t place = text.find( old );
        EXPECT_NE( place, std::string::npos ) << old;
        return place == std::string::npos ? text : text.replace( place, old.size(), with );
    }

    /// A configuration without anything to warn of.
    static std::string configuration()
    {
        return "[object.users]\n"
               "sort = 'USR_DIRECTORY'\n"
               "[object.users.config.users.alice]\n"
               "userName = 'alice'\n"
               "password = 'secret'\n"
               "\n"
               "[object.main]\n"
               "sort = 'SIPAUTH_STACK'\n"
               "[object.main.config]\n"
               "serverRealm = 'example.com'\n"
               "serverUsrDirectoryName = 'users'\n"
               "\n"
               "[object.daemon]\n"
               "sort = 'SIPAUTHD'\n"
               "[object.daemon.config]\n"
               "stack = 'main'\n"
               "domains = 'example.com'\n"
               "drainTime = 10000\n"
               "[object.daemon.config.listeners.udp]\n"
               "address = '127.0.0.1:0'\n";
    }

    std::string folder_;
    std::unique_ptr<ConfigSort> sort_;
};

} // namespace sipauthd

#endif
