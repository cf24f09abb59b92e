// A receiver of mail in small: it reads commands of bounded length, logs a client in, takes a message from a stranger,
// and forwards that message with clean line ends.

#include "tuzutil/BASE64.h"
#include "tuzutil/DOTBYTE.h"
#include "tuzutil/LINESTRM.h"

#include <cstdlib>
#include <iostream>
#include <sstream>
#include <string>

static void Require(bool condition, char const *what) {
    if (condition)
        return;
    std::cerr << what << '\n';
    std::exit(1);
}

int main() {
    std::istringstream client("AUTH PLAIN AGFubmEAcHc=\r\nNOOP " + std::string(100000, 'x') +
                              "\r\nNOOP\nRSET\rQUIT\r\nDATA\r\n"
                              "Subject: x\r\n\r\n..dots\rand\nlines\r\n.\r\nQUIT\r\n");
    TiLineStream commands(500, &client);
    std::string line;

    Require(commands.ReadLine(line, 100) == TLineRead::line, "AUTH is no clean line");
    TString response;
    unsigned int fault = 0;
    Require(TBase64::DecodeStrict(line.substr(11).c_str(), response, &fault), "the response is refused");
    Require(fault == 0 && response.length() == 8 && response.lastIndexOf('\0') == 6, "the response has other bytes");
    Require(TBase64::EncodeLine(response) == line.substr(11).c_str(), "the response is encoded otherwise");
    Require(TBase64::DecodeBinary("AGFubmE=").length() == 5, "a zero byte ends the bytes");
    Require(!TBase64::DecodeStrict("AGFu\r\nbmE=", response, &fault) && fault == 5, "a line end is no fault");
    Require(TBase64::DecodeStrict("AGFu\r\nbmE=", response, nullptr, TBase64::ignoreForeign), "a line end is a fault");

    Require(commands.ReadLine(line, 100) == TLineRead::tooLong && line.size() == 100, "a line has no limit");
    Require(commands.ReadLine(line, 100) == TLineRead::bareLineFeed && line == "NOOP", "a bare LF is not seen");
    Require(commands.ReadLine(line, 100) == TLineRead::bareCarriageReturn, "a bare CR is not seen");
    Require(commands.ReadLine(line, 100) == TLineRead::line && line == "DATA", "the lines are out of step");
    Require(commands.QueryLinesRead() == 5, "the lines are not counted");

    TiDotByteStream message(client);
    std::ostringstream relay;
    ToDotByteStream forwarded(relay);
    forwarded.UseCrLf();
    for (char c; message.get(c);)
        forwarded << c;
    Require(message.IsTerminated(), "the message is cut short");
    Require(message.SawBareLineFeed() && message.SawBareCarriageReturn(), "the message is taken for clean");
    Require(forwarded.EndBody() == 0, "the message is not forwarded");
    Require(relay.str() == "Subject: x\r\n\r\n..dots\r\nand\r\nlines\r\n.\r\n", "the forwarded message is not clean");

    Require(commands.ReadLine(line, 100) == TLineRead::line && line == "QUIT", "the message takes too much");
    Require(commands.ReadLine(line, 100) == TLineRead::end && line.empty() && commands.eof(), "there is no end");
    std::cout << "ok\n";
}
