#include "cli/gallery_page.h"

#include <fmt/format.h>

namespace Vantrix::Command {
namespace {

constexpr const char* kStyle = R"(
:root {
  color-scheme: light dark;
  --page: #f3f4f6; --card: #ffffff; --text: #1d232b; --faint: #5b6572; --line: #d9dde3;
  --accent: #1f5fa8; --chip: #e6eef8; --failure: #a3201d;
}
@media (prefers-color-scheme: dark) {
  :root {
    --page: #14171c; --card: #1e2329; --text: #e6e9ee; --faint: #9ba6b3; --line: #343b45;
    --accent: #86b8f0; --chip: #26384d; --failure: #ff9a92;
  }
}
* { box-sizing: border-box; }
body {
  margin: 0 auto; padding: 1.5rem 1rem 3rem; max-width: 110rem;
  background: var(--page); color: var(--text);
  font: 15px/1.5 system-ui, sans-serif;
}
header { display: flex; flex-wrap: wrap; gap: .5rem 2rem; align-items: end; margin-bottom: 1.25rem; }
header > div { flex: 1 1 20rem; }
h1 { margin: 0; font-size: 1.7rem; line-height: 1.2; }
header p { margin: .25rem 0 0; color: var(--faint); }
label { flex: 0 1 20rem; color: var(--faint); font-size: .87rem; }
input {
  display: block; width: 100%; padding: .45rem .6rem; font: inherit; font-size: .95rem;
  color: var(--text); background: var(--card); border: 1px solid var(--line); border-radius: 6px;
}
main { display: grid; gap: 1rem; grid-template-columns: repeat(auto-fill, minmax(min(100%, 25rem), 1fr)); }
article {
  display: flex; flex-direction: column; gap: .6rem; padding: 1rem; min-width: 0;
  background: var(--card); border: 1px solid var(--line); border-radius: 10px;
}
article[hidden], label[hidden] { display: none; }
article > * { margin: 0; }
.title { display: flex; flex-wrap: wrap; gap: 0 .6rem; align-items: baseline; }
h2 { margin: 0; font-size: 1.15rem; line-height: 1.3; }
.chip {
  margin-left: auto; padding: .05rem .55rem; border-radius: 1rem; font-size: .8rem;
  color: var(--accent); background: var(--chip);
}
code { font: .87rem/1.4 ui-monospace, monospace; overflow-wrap: anywhere; }
.name { flex-basis: 100%; color: var(--faint); }
.pair { display: grid; grid-template-columns: 1fr 1fr; gap: .5rem; }
figure { margin: 0; min-width: 0; }
figcaption, .note { color: var(--faint); font-size: .87rem; }
img {
  display: block; width: 100%; height: auto; border-radius: 5px;
  background: repeating-conic-gradient(#bbb 0 25%, #eee 0 50%) 0 0 / 16px 16px;
}
.failure { margin: 0; color: var(--failure); font-size: .87rem; overflow-wrap: anywhere; }
.scroll { overflow-x: auto; }
table { width: 100%; border-collapse: collapse; font-size: .87rem; }
th, td { padding: .2rem .6rem .2rem 0; text-align: left; border-top: 1px solid var(--line); vertical-align: top; }
th { color: var(--faint); font-weight: 600; border-top: 0; }
.command span { white-space: nowrap; }
.command { margin-top: auto; padding-top: .2rem; color: var(--faint); }
@media (max-width: 40rem) {
  label { flex-basis: 100%; }
}
@media print {
  :root {
    --page: #fff; --card: #fff; --text: #000; --faint: #444; --line: #bbb; --accent: #000;
    --chip: #eee; --failure: #a00;
  }
  body { padding: 0; max-width: none; font-size: 10pt; }
  label { display: none; }
  main { grid-template-columns: 1fr 1fr; }
  article { break-inside: avoid; }
  img { print-color-adjust: exact; }
}
)";

// Without a script the page shows everything, and no field that does nothing.
constexpr const char* kScript = R"(
const field = document.querySelector('input');
const cards = [...document.querySelectorAll('article')];
field.parentElement.hidden = false;
field.addEventListener('input', () => {
  const words = field.value.toLowerCase().split(/\s+/);
  for (const card of cards) {
    const text = card.dataset.find.toLowerCase();
    card.hidden = !words.every(word => text.includes(word));
  }
});
)";

// A plain text within HTML, also within a quoted value.
std::string Escape(const std::string& text) {
  std::string escaped;
  for (const char c : text) {
    switch (c) {
      case '&':
        escaped += "&amp;";
        break;
      case '<':
        escaped += "&lt;";
        break;
      case '>':
        escaped += "&gt;";
        break;
      case '"':
        escaped += "&quot;";
        break;
      default:
        // Control characters are not allowed in HTML.
        escaped += static_cast<unsigned char>(c) < 0x20 ? ' ' : c;
    }
  }
  return escaped;
}

std::string FormatPicture(const std::string& link, const std::string& alt, Size size) {
  return fmt::format(R"(<img src="{}" alt="{}" width="{}" height="{}">)", Escape(link), Escape(alt),
                     size.width, size.height);
}

std::string FormatAttributes(const std::vector<GalleryCard::Attribute>& attributes) {
  if (attributes.empty()) return "<p class=\"note\">It has no attributes.</p>\n";
  std::string html =
      "<div class=\"scroll\"><table>\n<tr><th scope=\"col\">Attribute</th><th "
      "scope=\"col\">Type</th><th scope=\"col\">Range</th><th scope=\"col\">Step</th><th "
      "scope=\"col\">Default</th></tr>\n";
  for (const GalleryCard::Attribute& each : attributes) {
    html += fmt::format("<tr><td><code>{}</code></td><td>{}</td>", Escape(each.name),
                        Escape(each.type));
    html += each.by_number ? "<td colspan=\"3\">taken by number only</td></tr>\n"
                           : fmt::format("<td>{}</td><td>{}</td><td>{}</td></tr>\n",
                                         Escape(each.range), Escape(each.step), Escape(each.def));
  }
  return html + "</table></div>\n";
}

std::string FormatSettings(const GalleryCard& card) {
  if (card.attributes.empty()) return "After";
  if (card.settings.empty()) return "After (start values)";
  return fmt::format("After (<code>{}</code>)",
                     Escape(fmt::format("{}", fmt::join(card.settings, " "))));
}

// Lines break between options only, not at their hyphens.
std::string FormatCommand(const GalleryCard& card) {
  std::string command =
      fmt::format("vantrix apply in.png out.png <span>-e {}</span>", Escape(card.name));
  for (const std::string& setting : card.settings) {
    command += fmt::format(" <span>-s {}</span>", Escape(setting));
  }
  return fmt::format("<p class=\"command\"><code>{}</code></p>\n", command);
}

std::string FormatCard(const GalleryPage& page, const GalleryCard& card) {
  const std::string find = fmt::format("{} CLSID_{} {} {}", card.display_name, card.name,
                                       card.category, card.description);
  std::string html = fmt::format(
      "<article id=\"{0}\" data-find=\"{1}\">\n<div class=\"title\"><h2>{2}</h2><span "
      "class=\"chip\">{3}</span><code class=\"name\">CLSID_{0}</code></div>\n<p>{4}</p>\n",
      Escape(card.name), Escape(find), Escape(card.display_name), Escape(card.category),
      Escape(card.description));
  html += fmt::format(
      "<div class=\"pair\">\n<figure>{}<figcaption>Before</figcaption></figure>\n",
      FormatPicture(card.before, page.subject + " before the effect", page.picture_size));
  if (card.failure.empty()) {
    html += fmt::format(
        "<figure>{}<figcaption>{}</figcaption></figure>\n",
        FormatPicture(card.after, page.subject + " after " + card.display_name, page.picture_size),
        FormatSettings(card));
  } else {
    html +=
        fmt::format("<p class=\"failure\">It could not be drawn: {}</p>\n", Escape(card.failure));
  }
  html += "</div>\n";
  if (!card.note.empty()) html += fmt::format("<p class=\"note\">{}</p>\n", Escape(card.note));
  return html + FormatAttributes(card.attributes) + FormatCommand(card) + "</article>\n";
}

}  // namespace

std::string FormatPage(const GalleryPage& page) {
  std::string html = fmt::format(
      "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n<meta "
      "name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n<title>Vantrix "
      "effects</title>\n<style>{}</style>\n</head>\n<body>\n",
      kStyle);
  html += fmt::format(
      "<header>\n<div><h1>Vantrix effects</h1><p>{} effects on {}, drawn by {}</p></div>\n<label "
      "hidden>Find by name, category or description<input type=\"search\"></label>\n"
      "</header>\n<main>\n",
      page.cards.size(), Escape(page.subject), Escape(page.engine));
  for (const GalleryCard& card : page.cards) html += FormatCard(page, card);
  html += fmt::format("</main>\n<script>{}</script>\n</body>\n</html>\n", kScript);
  return html;
}

}  // namespace Vantrix::Command
