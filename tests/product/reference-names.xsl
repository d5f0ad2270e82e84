<?xml version="1.0"?>
<!-- One line for each function and variable of the public headers: its name and the length of what
     the reference says about it, not counting the names of its parameters. -->
<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform">
  <xsl:output method="text"/>
  <xsl:template match="/">
    <xsl:for-each select="//compounddef[@kind='file' or @kind='group']/sectiondef/memberdef[@kind='function' or @kind='variable']">
      <xsl:value-of select="name"/>
      <xsl:text> </xsl:text>
      <xsl:value-of select="string-length(normalize-space(concat(briefdescription, detaileddescription)))"/>
      <xsl:text>&#10;</xsl:text>
    </xsl:for-each>
  </xsl:template>
</xsl:stylesheet>
