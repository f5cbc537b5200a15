#include "client/CtlCompletion.h"

#include <CLI/CLI.hpp>

#include <map>
#include <utility>
#include <vector>

namespace HotKey
{

namespace
{

using Words = std::vector<std::string>;

// The values of an option that takes one of several words, from the description "TEXT:{a,b}" of its check.
Words ValuesOf(const CLI::Option& option)
{
    const std::string type = option.get_type_name();
    const std::size_t open = type.find('{');
    const std::size_t close = type.find('}', open);
    if (open == std::string::npos || close == std::string::npos)
    {
        return {};
    }
    return CLI::detail::split(type.substr(open + 1, close - open - 1), ',');
}

bool IsShown(const CLI::App& command)
{
    return !command.get_name().empty() && !command.get_group().empty();
}

// What may follow the command: its options, and the words that it takes without one.
Words WordsOf(const CLI::App& command)
{
    Words words;
    for (const CLI::Option* const option : command.get_options())
    {
        if (option->get_group().empty())
        {
            continue; // hidden
        }
        for (const std::string& name : option->get_lnames())
        {
            // Every command takes the program's own options as well.
            if (command.get_parent() == nullptr || name != "help")
            {
                words.push_back("--" + name);
            }
        }
        if (option->get_positional())
        {
            for (const std::string& value : ValuesOf(*option))
            {
                words.push_back(value);
            }
        }
    }
    return words;
}

struct CGrammar
{
    Words commands;
    Words globals;
    std::vector<std::pair<std::string, Words>> byCommand;
    std::map<std::string, Words> byOption; // the words behind an option
};

void CollectValues(const CLI::App& command, CGrammar& grammar)
{
    for (const CLI::Option* const option : command.get_options())
    {
        for (const std::string& name : option->get_lnames())
        {
            if (Words values = ValuesOf(*option); !values.empty())
            {
                grammar.byOption["--" + name] = std::move(values);
            }
        }
    }
}

CGrammar GrammarOf(const CLI::App& app)
{
    CGrammar grammar;
    grammar.globals = WordsOf(app);
    CollectValues(app, grammar);
    for (const CLI::App* const command :
         app.get_subcommands([](const CLI::App* candidate) { return IsShown(*candidate); }))
    {
        grammar.commands.push_back(command->get_name());
        grammar.byCommand.emplace_back(command->get_name(), WordsOf(*command));
        CollectValues(*command, grammar);
    }
    return grammar;
}

std::string Joined(const Words& words, const std::string& separator, const std::string& quote)
{
    std::string text;
    for (const std::string& word : words)
    {
        text += (text.empty() ? "" : separator) + quote + word + quote;
    }
    return text;
}

Words operator+(Words left, const Words& right)
{
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

} // namespace

std::string BashCompletion(const CLI::App& app)
{
    const CGrammar grammar = GrammarOf(app);
    std::string script = "# For ~/.bashrc: eval \"$(hotkeyctl completion bash)\"\n"
                         "_hotkeyctl() {\n"
                         "    local command='' word words\n"
                         "    for word in \"${COMP_WORDS[@]:1:COMP_CWORD-1}\"; do\n"
                         "        case $word in\n"
                         "        " +
                         Joined(grammar.commands, " | ", "") +
                         ")\n"
                         "            command=$word\n"
                         "            break\n"
                         "            ;;\n"
                         "        esac\n"
                         "    done\n"
                         "    case ${COMP_WORDS[COMP_CWORD-1]} in\n";
    for (const auto& [option, values] : grammar.byOption)
    {
        script += "    " + option + ") words='" + Joined(values, " ", "") + "' ;;\n";
    }
    script += "    *)\n"
              "        case $command in\n";
    for (const auto& [command, words] : grammar.byCommand)
    {
        script += "        " + command + ") words='" + Joined(words + grammar.globals, " ", "") + "' ;;\n";
    }
    script += "        *) words='" + Joined(grammar.commands + grammar.globals, " ", "") +
              "' ;;\n"
              "        esac\n"
              "        ;;\n"
              "    esac\n"
              "    mapfile -t COMPREPLY < <(compgen -W \"$words\" -- \"${COMP_WORDS[COMP_CWORD]}\")\n"
              "}\n"
              "complete -F _hotkeyctl hotkeyctl hotkeyctl.exe\n";
    return script;
}

std::string PowerShellCompletion(const CLI::App& app)
{
    const CGrammar grammar = GrammarOf(app);
    std::string script = "# For $PROFILE: hotkeyctl completion powershell | Out-String | Invoke-Expression\n"
                         "Register-ArgumentCompleter -Native -CommandName hotkeyctl, hotkeyctl.exe -ScriptBlock {\n"
                         "    param($wordToComplete, $commandAst, $cursorPosition)\n"
                         "    $globals = @(" +
                         Joined(grammar.globals, ", ", "'") +
                         ")\n"
                         "    $commands = @{\n";
    for (const auto& [command, words] : grammar.byCommand)
    {
        script += "        '" + command + "' = @(" + Joined(words, ", ", "'") + ")\n";
    }
    script += "    }\n"
              "    $values = @{\n";
    for (const auto& [option, values] : grammar.byOption)
    {
        script += "        '" + option + "' = @(" + Joined(values, ", ", "'") + ")\n";
    }
    script +=
        "    }\n"
        "    $before = @($commandAst.CommandElements | Where-Object { $_.Extent.EndOffset -lt $cursorPosition } |\n"
        "        Select-Object -Skip 1 | ForEach-Object { $_.ToString() })\n"
        "    $command = $before | Where-Object { $commands.ContainsKey($_) } | Select-Object -First 1\n"
        "    if ($before.Count -gt 0 -and $values.ContainsKey($before[-1])) { $words = $values[$before[-1]] }\n"
        "    elseif ($command) { $words = $commands[$command] + $globals }\n"
        "    else { $words = @(" +
        Joined(grammar.commands, ", ", "'") +
        ") + $globals }\n"
        "    $words | Where-Object { $_ -like \"$wordToComplete*\" } |\n"
        "        ForEach-Object { [System.Management.Automation.CompletionResult]::new($_) }\n"
        "}\n";
    return script;
}

} // namespace HotKey
