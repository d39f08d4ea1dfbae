// What "vorn-lab check" looks at: one table, from which its output, --explain and docs/check.md are made.
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace lab {

struct check_entry {
    std::string_view id;        // stable; scripts may rely on it
    std::string_view question;  // that "ok" answers with yes
    std::string_view effect;    // what the daemon does where it is wrong
    std::string_view remedy;
};

std::span<const check_entry> check_table();

// What the daemon does in a cycle without the node, as `effect` has it.
std::string_view effect_without_node(std::string_view name);

// Null for an id that is none.
const check_entry* find_check(std::string_view id);

// The table as the document has it, in Markdown; one entry for a person.
std::string checks_reference();
std::string explain_check(const check_entry& entry);

}  // namespace lab
