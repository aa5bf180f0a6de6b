#ifndef TESTS_SUPPORT_SAXRECORDER_H
#define TESTS_SUPPORT_SAXRECORDER_H

#include <cstdarg>
#include <cstdio>
#include <functional>
#include <libxml/parser.h>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "Qel/Settings/CLibXml2SaxParser.h"

namespace testsupport {

/// Writes down every operation that is called, as "onStartElement(a b=1)": the name, then the
/// arguments with blanks between them; "-" stands for an absent text.
class SaxRecorder : public Qel::Settings::CLibXml2SaxParser {
public:
    using Text = const unsigned char*;

    std::vector<std::string> calls;
    /// Called at each operation, after it has been written down.
    std::function<void()> onCall;
    _xmlParserInput* input = nullptr;
    _xmlEntity* entity = nullptr;

    void onInternalSubset(Text a, Text b, Text c) override { add("onInternalSubset", {a, b, c}); }
    int onIsStandalone() override { return add("onIsStandalone", {}), 11; }
    int onHasInternalSubset() override { return add("onHasInternalSubset", {}), 12; }
    int onHasExternalSubset() override { return add("onHasExternalSubset", {}), 13; }
    _xmlParserInput* onResolveEntity(Text a, Text b) override {
        return add("onResolveEntity", {a, b}), input;
    }
    _xmlEntity* onGetEntity(Text a) override { return add("onGetEntity", {a}), entity; }
    void onEntityDecl(Text a, int type, Text b, Text c, unsigned char* d) override {
        add("onEntityDecl", {a, number(type), b, c, d});
    }
    void onNotationDecl(Text a, Text b, Text c) override { add("onNotationDecl", {a, b, c}); }
    void onAttributeDecl(Text a, Text b, int type, int kind, Text c,
                         _xmlEnumeration* values) override {
        std::vector<Argument> arguments = {a, b, number(type), number(kind), c};
        for (; values != nullptr; values = values->next) {
            arguments.emplace_back(values->name);
        }
        add("onAttributeDecl", arguments);
    }
    void onElementDecl(Text a, int type, _xmlElementContent* content) override {
        add("onElementDecl", {a, number(type), content == nullptr ? nullptr : content->name});
    }
    void onUnparsedEntityDecl(Text a, Text b, Text c, Text d) override {
        add("onUnparsedEntityDecl", {a, b, c, d});
    }
    void onSetDocumentLocator(_xmlSAXLocator* locator) override {
        add("onSetDocumentLocator", {std::string(locator == nullptr ? "-" : "locator")});
    }
    void onReference(Text a) override { add("onReference", {a}); }
    void onStartDocument() override { add("onStartDocument", {}); }
    void onEndDocument() override { add("onEndDocument", {}); }
    void onStartElement(Text a, Text* attributes) override {
        std::vector<Argument> arguments = {a};
        for (; attributes != nullptr && *attributes != nullptr; attributes += 2) {
            arguments.emplace_back(Argument(attributes[0]).text + "=" +
                                   Argument(attributes[1]).text);
        }
        add("onStartElement", arguments);
    }
    void onEndElement(Text a) override { add("onEndElement", {a}); }
    void onCharacters(Text a, int length) override { add("onCharacters", {bytes(a, length)}); }
    void onIgnorableWhitespace(Text a, int length) override {
        add("onIgnorableWhitespace", {bytes(a, length)});
    }
    void onProcessingInstruction(Text a, Text b) override {
        add("onProcessingInstruction", {a, b});
    }
    void onComment(Text a) override { add("onComment", {a}); }
    void onWarning(const char* format, char* arguments) override {
        add("onWarning", {message(format, arguments)});
    }
    void onError(const char* format, char* arguments) override {
        add("onError", {message(format, arguments)});
    }
    void onFatalError(const char* format, char* arguments) override {
        add("onFatalError", {message(format, arguments)});
    }
    _xmlEntity* onGetParameterEntity(Text a) override {
        return add("onGetParameterEntity", {a}), entity;
    }
    void onCData(Text a, int length) override { add("onCData", {bytes(a, length)}); }
    void onExternalSubset(Text a, Text b, Text c) override { add("onExternalSubset", {a, b, c}); }

    int parseText(const std::string& document) {
        return parse(document.data(), static_cast<int>(document.size()));
    }

private:
    struct Argument {
        Argument(Text bytes)
            : text(bytes == nullptr ? "-" : reinterpret_cast<const char*>(bytes)) {}
        Argument(std::nullptr_t) : text("-") {}
        Argument(std::string value) : text(std::move(value)) {}
        std::string text;
    };

    static std::string number(int value) { return std::to_string(value); }

    static std::string bytes(Text text, int length) {
        return std::string(reinterpret_cast<const char*>(text), static_cast<std::size_t>(length));
    }

    static std::string message(const char* format, char* arguments) {
        char text[200];
        std::vsnprintf(text, sizeof text, format,
                       reinterpret_cast<std::decay_t<va_list>>(arguments));
        return text;
    }

    void add(const char* operation, const std::vector<Argument>& arguments) {
        std::string call = std::string(operation) + "(";
        for (const Argument& argument : arguments) {
            call += (&argument == &arguments.front() ? "" : " ") + argument.text;
        }
        calls.push_back(call + ")");
        if (onCall) {
            onCall();
        }
    }
};

}  // namespace testsupport

#endif
