# cuctl rpn eval
load support

@test "results, parameters and types" {
  expect 0 14 rpn eval "2 3 4 * +"
  expect 0 7.5 rpn eval "%1 %2 +" 2.5 5
  expect 0 -5 rpn eval "%1" -5
  expect 0 44 rpn eval 300 --type 1
  expect 0 -56 rpn eval 200 --type 5
  expect 2 "" rpn eval 1 --type 11
  expect 2 "" rpn eval 1 --type 0
  expect 1 "no value" rpn eval "1 0 /"
  expect 1 "no value" rpn eval ""
  expect 1 "no value" rpn eval "%1"
  expect_json 0 "rpn eval" rpn eval "1 2 +"
  has '{"expression":"1 2 +","ok":true,"warnings":[],"value":"3"}' "$json"
  expect_json 1 "rpn eval" rpn eval "1 0 /"
}

@test "warns where an operator is not the one that it looks like" {
  expect 0 'warning: "<" is read as <<' rpn eval "5 3 <"
  has 40
  expect 0 'warning: ">" is read as >>' rpn eval "5 3 >"
  expect 0 'warning: ">=" is read as >' rpn eval "5 3 >="
  expect 0 'warning: "!=" is read as !' rpn eval "5 3 !="
  expect 1 'there are no signed literals; write 0 5 -' rpn eval -- "-5"
  run cuctl rpn eval "5 3 +"
  [[ $output == 8 ]]
}

@test "trace: each token, what it was taken for, and the stack" {
  expect 0 "       <  read as <<    [5 3] -> [40]" rpn eval "5 3 <" --trace
  expect 0 "?  read as if, skipped to : [0] -> []" rpn eval "0 ? 2 : 3" --trace
  has "3  read as value [] -> [3]"
  lacks "2  read as"
  expect 0 ":  read as end of the branch [2] -> [2]" rpn eval "1 ? 2 : 3" --trace
  expect 1 "+  read as +: too few values [1] -> [1]" rpn eval "1 +" --trace
  expect 1 "?  read as if: too few values" rpn eval "?" --trace
  expect 1 "without a ?" rpn eval "1 :" --trace
  expect 1 "/  read as /: no result" rpn eval "1 0 /" --trace
  expect 1 "%9  read as no value" rpn eval "%9" --trace
  expect_json 0 "rpn eval" rpn eval "5 3 <" --trace
  has '{"token":"<","read_as":"<<","before":"[5 3]","after":"[40]"}' "$json"
}

@test "long expressions end, too" {
  expect 0 1 rpn eval "$(printf '1 %.0s' {1..20000})" --trace
  has "[... 1"
  expect 1 "no value" rpn eval "$(printf '+ %.0s' {1..20000})"
  run cuctl rpn eval "$(printf 'x%.0s' {1..100000})"
  ((status == 0 || status == 1))
}
